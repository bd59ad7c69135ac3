// Reads the bit rate from what canconfig prints: told in its own form, it has to read the same.

#include "FuzzTarget.h"

#include "can/CanconfigOutput.h"

void checkInput(QByteArrayView input)
{
    const int rate = bitRateIn(input);

    require(rate == 0 || input.contains("bitrate:"));
    require(bitRateIn("can0 bitrate: " + QByteArray::number(rate) + ", sample-point: 0.875") == rate);
}
