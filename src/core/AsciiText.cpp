#include "core/AsciiText.h"

QByteArray toAscii(const QString &text)
{
    QByteArray bytes = text.toLatin1();
    for (char &byte : bytes) {
        if (static_cast<unsigned char>(byte) > 0x7f)
            byte = '?';
    }
    return bytes;
}
