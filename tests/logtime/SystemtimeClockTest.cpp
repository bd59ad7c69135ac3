// Both scales of seconds, on a clock that the test holds.

#include "logtime/Systemtime.h"

#include "logtime/FakeClock.h"
#include "support/FakeTools.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <cerrno>
#include <limits>

#include <dlfcn.h>
#include <sys/time.h>

using namespace Qt::StringLiterals;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    static const auto real = reinterpret_cast<decltype(&clock_gettime)>(::dlsym(RTLD_NEXT, "clock_gettime"));
    if (clock != CLOCK_REALTIME || !FakeClock::current)
        return real(clock, time);
    if (!FakeClock::current->now) {
        errno = EINVAL;
        return -1;
    }
    *time = *FakeClock::current->now;
    return 0;
}

__attribute__((visibility("default"))) int gettimeofday(timeval *time, void *zone) noexcept
{
    static const auto real = reinterpret_cast<int (*)(timeval *, void *)>(::dlsym(RTLD_NEXT, "gettimeofday"));
    if (!FakeClock::current || !FakeClock::current->now)
        return real(time, zone);
    *time = {.tv_sec = FakeClock::current->now->tv_sec, .tv_usec = FakeClock::current->now->tv_nsec / 1000};
    return 0;
}

__attribute__((visibility("default"))) int clock_settime(clockid_t clock, const timespec *time) noexcept
{
    // Never the real one: that is the machine's.
    if (clock != CLOCK_REALTIME || !FakeClock::current) {
        errno = EPERM;
        return -1;
    }
    FakeClock::current->asked = *time;
    if (!FakeClock::current->settable) {
        errno = EPERM;
        return -1;
    }
    FakeClock::current->now = *time;
    return 0;
}

} // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

constexpr qint64 winter = 1'768'478'400; // 2026-01-15 12:00 UTC
constexpr qint64 summer = 1'784'116'800; // 2026-07-15 12:00 UTC

class SystemtimeClockTest : public testing::Test
{
protected:
    SystemtimeClockTest()
    {
        tools.addAt(u"/sbin/hwclock"_s);
        time.setTimezone(u"Etc/UTC"_s);
    }

    qint64 currentTimeOfJson() const { return time.jsonTimeinfo().section(u':', -1).chopped(1).toLongLong(); }

    FakeTools tools;
    FakeClock clock{winter};
    Systemtime time{u"time"_s, nullptr};

    const QStringList hwClockWritten{u"hwclock -w -u"_s};
};

// Reading

TEST_F(SystemtimeClockTest, BothScalesAreEqualInUtc)
{
    EXPECT_EQ(time.getSystemTimeUtc(), winter);
    EXPECT_EQ(time.getSystemTime(), winter);
}

struct Zone
{
    const char *name;
    QString zone;
    qint64 now;
    qint64 offset;
};

class SystemtimeZonesTest : public SystemtimeClockTest, public testing::WithParamInterface<Zone>
{
protected:
    SystemtimeZonesTest()
    {
        clock.now->tv_sec = GetParam().now;
        time.setTimezone(GetParam().zone);
    }
};

TEST_P(SystemtimeZonesTest, LocalSecondsFollowTheZoneAtOnce)
{
    EXPECT_EQ(time.getSystemTimeUtc(), GetParam().now);
    EXPECT_EQ(time.getSystemTime(), GetParam().now + GetParam().offset);
    EXPECT_EQ(currentTimeOfJson(), GetParam().now + GetParam().offset);
}

TEST_P(SystemtimeZonesTest, SettingLocalSecondsTakesThePresentOffset)
{
    const quint64 wanted = 1'776'000'000; // in the northern summer

    time.setSystemTime(wanted);

    ASSERT_TRUE(clock.asked);
    EXPECT_EQ(clock.asked->tv_sec, static_cast<qint64>(wanted) - GetParam().offset);
    EXPECT_EQ(clock.asked->tv_nsec, 0);
    EXPECT_EQ(tools.calls(), hwClockWritten);
}

INSTANTIATE_TEST_SUITE_P(Zones, SystemtimeZonesTest,
                         testing::Values(Zone{"Utc", u"UTC"_s, winter, 0},
                                         Zone{"EastInWinter", u"Europe/Berlin"_s, winter, 3600},
                                         Zone{"EastInSummer", u"Europe/Berlin"_s, summer, 7200},
                                         Zone{"WestInWinter", u"America/New_York"_s, winter, -18000},
                                         Zone{"WestInSummer", u"America/New_York"_s, summer, -14400},
                                         Zone{"HalfHourEast", u"Asia/Kolkata"_s, winter, 19800},
                                         Zone{"HalfHourWest", u"America/St_Johns"_s, winter, -12600},
                                         Zone{"DirectoryInPlaceOfAZone", u"Europe"_s, winter, 0}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(SystemtimeClockTest, ZoneThatAnotherProgramSetsIsSeenAtOnce)
{
    ASSERT_EQ(time.getSystemTime(), winter);

    removeAll(u"/etc/localtime"_s);
    ASSERT_TRUE(QFile::link(u"/usr/share/zoneinfo/Asia/Tokyo"_s, u"/etc/localtime"_s));

    EXPECT_EQ(time.getSystemTime(), winter + 32400);
    removeAll(u"/etc/localtime"_s);
    EXPECT_EQ(time.getSystemTime(), winter);
}

TEST_F(SystemtimeClockTest, ClockThatCannotBeReadIsMinusOne)
{
    clock.now.reset();
    time.setTimezone(u"Asia/Tokyo"_s);

    EXPECT_EQ(time.getSystemTimeUtc(), -1);
    EXPECT_EQ(time.getSystemTime(), -1);
    EXPECT_EQ(currentTimeOfJson(), -1);
}

TEST_F(SystemtimeClockTest, SecondsBeyondTheDevicesRangeWrapRound)
{
    clock.now->tv_sec = static_cast<time_t>(qint64(0x80000000));
    EXPECT_EQ(time.getSystemTimeUtc(), std::numeric_limits<qint32>::min());

    clock.now->tv_sec = 0x7fffffff;
    time.setTimezone(u"Asia/Tokyo"_s);
    EXPECT_EQ(time.getSystemTimeUtc(), 0x7fffffff);
    EXPECT_EQ(time.getSystemTime(), std::numeric_limits<qint32>::min() + qint64(32399));
}

// Setting

TEST_F(SystemtimeClockTest, WhatWasSetIsReadBackOnItsScale)
{
    time.setTimezone(u"Asia/Kolkata"_s);

    time.setSystemTime(1'234'567'890);
    EXPECT_EQ(time.getSystemTime(), 1'234'567'890);
    EXPECT_EQ(time.getSystemTimeUtc(), 1'234'567'890 - 19800);

    time.setSystemTimeUtc(1'234'567'890);
    EXPECT_EQ(time.getSystemTimeUtc(), 1'234'567'890);
    EXPECT_EQ(time.getSystemTime(), 1'234'567'890 + 19800);
}

TEST_F(SystemtimeClockTest, TimeBeyondAChangeOfDaylightSavingLandsAnHourOff)
{
    time.setTimezone(u"Europe/Berlin"_s);

    time.setSystemTime(summer);

    EXPECT_EQ(time.getSystemTime(), summer + 3600);
}

struct Argument
{
    const char *name;
    quint64 given;
    qint64 set;
};

class SystemtimeArgumentTest : public SystemtimeClockTest, public testing::WithParamInterface<Argument>
{
};

TEST_P(SystemtimeArgumentTest, ItsLowBitsAreSetAndTheHardwareClockFollows)
{
    time.setSystemTimeUtc(GetParam().given);

    ASSERT_TRUE(clock.asked);
    EXPECT_EQ(clock.asked->tv_sec, GetParam().set);
    EXPECT_EQ(clock.asked->tv_nsec, 0);
    EXPECT_EQ(tools.calls(), hwClockWritten);
}

TEST_P(SystemtimeArgumentTest, ItsLowBitsAreSetFromLocalSecondsToo)
{
    time.setSystemTime(GetParam().given);

    ASSERT_TRUE(clock.asked);
    EXPECT_EQ(clock.asked->tv_sec, GetParam().set);
    EXPECT_EQ(clock.asked->tv_nsec, 0);
    EXPECT_EQ(tools.calls(), hwClockWritten);
}

INSTANTIATE_TEST_SUITE_P(Arguments, SystemtimeArgumentTest,
                         testing::Values(Argument{"Zero", 0, 0}, Argument{"Ordinary", 1'700'000'000, 1'700'000'000},
                                         Argument{"Greatest", 0x7fffffff, 0x7fffffff},
                                         Argument{"OneMore", 0x80000000, std::numeric_limits<qint32>::min()},
                                         Argument{"AllLowBits", 0xffffffff, -1}, Argument{"NoLowBits", 0x100000000, 0},
                                         Argument{"SomeOfBoth", 0xabcdef0000000005, 5},
                                         Argument{"All", std::numeric_limits<quint64>::max(), -1}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(SystemtimeClockTest, OffsetIsTakenOffWithWrappingRound)
{
    time.setTimezone(u"America/New_York"_s);

    time.setSystemTime(0x7fffffff);

    ASSERT_TRUE(clock.asked);
    EXPECT_EQ(clock.asked->tv_sec, std::numeric_limits<qint32>::min() + qint64(17999));
}

TEST_F(SystemtimeClockTest, HardwareClockIsWrittenThoughTheTimeIsRefused)
{
    clock.settable = false;

    time.setSystemTimeUtc(5);
    time.setSystemTime(5);

    EXPECT_EQ(tools.calls(), hwClockWritten + hwClockWritten);
    EXPECT_EQ(time.getSystemTimeUtc(), winter);
}

TEST_F(SystemtimeClockTest, TransfersAskTheToolAlone)
{
    time.systemTimeToHwClock();
    time.hwClockToSystemTime();

    EXPECT_EQ(tools.calls(), (QStringList{u"hwclock -w -u"_s, u"hwclock -s -u"_s}));
    EXPECT_FALSE(clock.asked);
}

} // namespace
