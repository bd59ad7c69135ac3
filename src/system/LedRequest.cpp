#include "system/LedRequest.h"

QByteArray ledRequestBody(int timeInSec)
{
    return R"({"id":1,"method":"com.ozt.nodekeep|/system|local.System.startMeascardLedSignaling","params":["i",")" +
           QByteArray::number(timeInSec) + R"("]})";
}
