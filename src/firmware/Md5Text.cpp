#include "firmware/Md5Text.h"

QByteArray md5DigestIn(const QByteArray &text)
{
    const qsizetype end = text.indexOf("  ");
    return end < 0 ? text : text.first(end);
}
