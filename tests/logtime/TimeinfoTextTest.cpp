#include "logtime/TimeinfoText.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Uptime
{
    const char *name;
    QByteArray content;
    QString text;
};

class TimeinfoTextTest : public testing::TestWithParam<Uptime>
{
};

TEST_P(TimeinfoTextTest, IsPutTogether)
{
    EXPECT_EQ(timeinfoText(GetParam().content, 1'700'000'000), GetParam().text);
}

QString textOf(const QString &uptime, const QString &idleTime)
{
    return u"{\"uptime\":"_s + uptime + u",\"idletime\":"_s + idleTime + u",\"currenttime\":1700000000}"_s;
}

INSTANTIATE_TEST_SUITE_P(
    Contents, TimeinfoTextTest,
    testing::Values(Uptime{"Kernels", "350735.47 234388.90\n", textOf(u"350735.47"_s, u"234388.90"_s)},
                    Uptime{"JustStarted", "0.00 0.00\n", textOf(u"0.00"_s, u"0.00"_s)},
                    Uptime{"NoLineEnd", "1.5 2.5", textOf(u"1.5"_s, u"2.5"_s)},
                    Uptime{"WhiteSpaceAfter", "1.5 \t 2.5 \r\n\n", textOf(u"1.5"_s, u"2.5"_s)},
                    Uptime{"WhiteSpaceBefore", "\t1.5 2.5\n", textOf(u"\t1.5"_s, u"2.5"_s)},
                    Uptime{"ThirdNumber", "1.5 2.5 3.5\n", textOf(u"1.5"_s, u"2.5 3.5"_s)},
                    Uptime{"NulInTheFirst", QByteArray("1.5\0x 2.5\n", 10), textOf(u"1.5"_s, u"2.5"_s)},
                    Uptime{"NulInTheSecond", QByteArray("1.5 2.5\0x\n", 10), textOf(u"1.5"_s, u"2.5"_s)},
                    Uptime{"OneNumber", "1.5\n", u"{}"_s}, Uptime{"Empty", "", u"{}"_s}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(TimeinfoTextOfAClockTest, HoldsAnyTime)
{
    EXPECT_TRUE(timeinfoText("1 2", -1).endsWith(u",\"currenttime\":-1}"_s));
    EXPECT_TRUE(timeinfoText("1 2", 0).endsWith(u",\"currenttime\":0}"_s));
}

} // namespace
