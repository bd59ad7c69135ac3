#pragma once

#include <QByteArray>
#include <QString>

/** The text for a file or service that takes ASCII alone: "?" stands for any other character, twice for one beyond
 *  U+FFFF, such as an emoji. */
[[nodiscard]] QByteArray toAscii(const QString &text);
