#include "logtime/Systemtime.h"

#include "support/BusClient.h"
#include "support/FakeTools.h"
#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/parent/time"_s;
const QString interfaceName = u"local.Systemtime"_s;

class SystemtimeBusTest : public testing::Test
{
protected:
    SystemtimeBusTest()
    {
        putOnBus(u"/parent"_s, &parent);
        tools.addAt(u"/sbin/hwclock"_s, "echo the hardware clock");
    }

    FakeTools tools;
    QObject parent;
    Systemtime time{u"time"_s, &parent};
    BusClient client;
};

TEST_F(SystemtimeBusTest, OffersTheseMembersInOrder)
{
    const QStringList methods{
        u"method getSystemTime() -> x"_s,  u"method getSystemTimeUtc() -> x"_s, u"method getSytemTimeAsText() -> s"_s,
        u"method setSystemTime(t)"_s,      u"method setSystemTimeUtc(t)"_s,     u"method systemTimeToHwClock()"_s,
        u"method hwClockToSystemTime()"_s, u"method getHwTimeAsText() -> s"_s,  u"method jsonTimeinfo() -> s"_s,
        u"method jsonTimezones() -> s"_s,
    };

    const QStringList members = client.members(path, interfaceName);

    EXPECT_EQ(members.filter(u"method"_s), methods);
    EXPECT_EQ(members.filter(u"property"_s), QStringList{u"property timezone s readwrite"_s});
    EXPECT_EQ(members.filter(u"signal"_s), QStringList());
}

TEST_F(SystemtimeBusTest, TellsTheTime)
{
    const qint64 before = time.getSystemTimeUtc();

    const qint64 told = client.value(path, interfaceName, u"getSystemTimeUtc"_s).toLongLong();

    EXPECT_GE(told, before);
    EXPECT_LE(told, before + 60);
}

TEST_F(SystemtimeBusTest, TellsTheToolsText)
{
    EXPECT_EQ(client.value(path, interfaceName, u"getHwTimeAsText"_s), u"the hardware clock\n"_s);
}

TEST_F(SystemtimeBusTest, ZoneIsReadAndWritten)
{
    client.setProperty(path, interfaceName, u"timezone"_s, u"Asia/Kolkata"_s);

    EXPECT_EQ(client.getProperty(path, interfaceName, u"timezone"_s), u"Asia/Kolkata"_s);
    const qint64 local = client.value(path, interfaceName, u"getSystemTime"_s).toLongLong();
    const qint64 utc = client.value(path, interfaceName, u"getSystemTimeUtc"_s).toLongLong();
    EXPECT_LE(std::abs(local - utc - 19800), 60);
}

TEST_F(SystemtimeBusTest, SignedSecondsAreNoArgument)
{
    EXPECT_EQ(client.call(path, interfaceName, u"setSystemTime"_s, {qint64(5)}).errorName(),
              u"org.freedesktop.DBus.Error.UnknownMethod"_s);

    EXPECT_EQ(tools.calls(), QStringList());
}

} // namespace
