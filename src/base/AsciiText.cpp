#include "base/AsciiText.h"

#include <QList>

QByteArray toAscii(const QString &text)
{
    const QList<uint> characters = text.toUcs4();
    QByteArray bytes;
    bytes.reserve(characters.size());
    for (const uint character : characters)
        bytes += character <= 0x7f ? static_cast<char>(character) : '?';
    return bytes;
}
