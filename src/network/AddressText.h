#pragma once

#include <QHostAddress>
#include <QString>

/** Reads an IP address as people write it.
 *
 *  IPv4 is four decimal numbers from 0 to 255 with dots between, leading zeros without a meaning of their own: the
 *  old short, octal and hexadecimal spellings would take a slip of the finger for another address. IPv6 is what
 *  QHostAddress takes, whose scope behind a "%" may have any length: more than 1 MiB is no address. White space around
 *  either does not count.
 *
 *  @return a null address when the text is none; its toString() is then empty */
[[nodiscard]] QHostAddress parseAddress(const QString &text);
