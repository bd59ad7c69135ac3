#include "system/LedRequest.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

QByteArray bodyWith(const QByteArray &seconds)
{
    return "{\"id\":1,\"method\":\"com.ozt.nodekeep|/system|local.System.startMeascardLedSignaling\","
           "\"params\":[\"i\",\"" +
           seconds + "\"]}";
}

TEST(LedRequestTest, NamesTheCallAndTheSecondsAsText)
{
    EXPECT_EQ(ledRequestBody(30), bodyWith("30"));
}

TEST(LedRequestTest, SendsAnyNumberAsItIs)
{
    for (const int seconds : {0, -5, 1, 10'000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        EXPECT_EQ(ledRequestBody(seconds), bodyWith(QByteArray::number(seconds)));
}

} // namespace
