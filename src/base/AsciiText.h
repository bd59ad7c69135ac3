#pragma once

#include <QByteArray>
#include <QString>

/** The text for a file or service that takes ASCII alone: "?" stands for any other character, be it an emoji of two
 *  UTF-16 units or half of one. */
[[nodiscard]] QByteArray toAscii(const QString &text);
