#pragma once

#include <QByteArray>

/** The digest in what md5sum prints, "digest, two blanks, file name": all that stands before the first two blanks, and
 *  the whole text where there are none. */
[[nodiscard]] QByteArray md5DigestIn(const QByteArray &text);
