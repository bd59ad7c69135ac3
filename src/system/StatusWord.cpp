#include "system/StatusWord.h"

namespace {
constexpr int wordBytes = 4;
constexpr int bitsPerByte = 8;
} // namespace

quint32 readStatusWord(const quint8 *area)
{
    quint32 word = 0;
    for (int i = 0; i < wordBytes; ++i)
        word |= quint32{area[statusWordOffset + i]} << (i * bitsPerByte);
    return word;
}

void writeStatusBit(quint8 *area, int bitNumber, bool isSet)
{
    const quint32 bit = quint32{1} << bitNumber;
    const quint32 word = isSet ? readStatusWord(area) | bit : readStatusWord(area) & ~bit;
    for (int i = 0; i < wordBytes; ++i)
        area[statusWordOffset + i] = static_cast<quint8>(word >> (i * bitsPerByte));
}
