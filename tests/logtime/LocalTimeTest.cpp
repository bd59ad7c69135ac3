#include "logtime/LocalTime.h"

#include <gtest/gtest.h>

#include <QDateTime>

#include <ctime>
#include <limits>

namespace {

constexpr qint32 latest = std::numeric_limits<qint32>::max();
constexpr qint32 earliest = std::numeric_limits<qint32>::min();

struct Offset
{
    const char *name;
    const char *zone;
    const char *utc;
    qint32 seconds;
};

class LocalOffsetTest : public testing::TestWithParam<Offset>
{
protected:
    LocalOffsetTest()
    {
        qputenv("TZ", GetParam().zone);
        ::tzset();
    }
    ~LocalOffsetTest() override
    {
        qunsetenv("TZ");
        ::tzset();
    }
};

TEST_P(LocalOffsetTest, IsPositiveToTheEast)
{
    const QDateTime moment = QDateTime::fromString(QString::fromLatin1(GetParam().utc), Qt::ISODate).toLocalTime();

    EXPECT_EQ(localOffset(moment), GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(Zones, LocalOffsetTest,
                         testing::Values(Offset{"Utc", "UTC", "2026-07-01T12:00:00Z", 0},
                                         Offset{"EastInWinter", "Europe/Berlin", "2026-01-15T12:00:00Z", 3600},
                                         Offset{"EastInSummer", "Europe/Berlin", "2026-07-15T12:00:00Z", 7200},
                                         Offset{"LastSecondOfWinter", "Europe/Berlin", "2026-03-29T00:59:59Z", 3600},
                                         Offset{"FirstSecondOfSummer", "Europe/Berlin", "2026-03-29T01:00:00Z", 7200},
                                         Offset{"LastSecondOfSummer", "Europe/Berlin", "2026-10-25T00:59:59Z", 7200},
                                         Offset{"FirstSecondOfWinter", "Europe/Berlin", "2026-10-25T01:00:00Z", 3600},
                                         Offset{"WestInWinter", "America/New_York", "2026-01-15T12:00:00Z", -18000},
                                         Offset{"WestInSummer", "America/New_York", "2026-07-15T12:00:00Z", -14400},
                                         Offset{"HalfHourEast", "Asia/Kolkata", "2026-07-15T12:00:00Z", 19800},
                                         Offset{"HalfHourWest", "America/St_Johns", "2026-01-15T12:00:00Z", -12600},
                                         Offset{"QuarterHour", "Asia/Kathmandu", "2026-07-15T12:00:00Z", 20700},
                                         Offset{"SummerOfHalfAnHour", "Australia/Lord_Howe", "2026-01-15T12:00:00Z",
                                                39600},
                                         Offset{"DateAhead", "Pacific/Kiritimati", "2026-07-15T12:00:00Z", 50400},
                                         Offset{"DateBehind", "Pacific/Midway", "2026-07-15T12:00:00Z", -39600},
                                         Offset{"NewYear", "Asia/Tokyo", "2025-12-31T20:00:00Z", 32400}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(LocalOffsetOfAMomentTest, FractionOfASecondDoesNotMatter)
{
    const QDateTime moment = QDateTime::currentDateTime();

    EXPECT_EQ(localOffset(moment.addMSecs(999)), localOffset(moment));
}

TEST(DeviceSecondsTest, AreTheLowBits)
{
    EXPECT_EQ(deviceSeconds(0), 0);
    EXPECT_EQ(deviceSeconds(1'700'000'000), 1'700'000'000);
    EXPECT_EQ(deviceSeconds(0x7fffffff), latest);
    EXPECT_EQ(deviceSeconds(0x80000000), earliest);
    EXPECT_EQ(deviceSeconds(0xffffffff), -1);
    EXPECT_EQ(deviceSeconds(0x100000000), 0);
    EXPECT_EQ(deviceSeconds(0xabcdef0000000005), 5);
    EXPECT_EQ(deviceSeconds(std::numeric_limits<quint64>::max()), -1);
}

TEST(ScalesTest, LocalIsUtcPlusOffset)
{
    EXPECT_EQ(localFromUtc(1000, 3600), 4600);
    EXPECT_EQ(localFromUtc(1000, -3600), -2600);
    EXPECT_EQ(utcFromLocal(4600, 3600), 1000);
    EXPECT_EQ(utcFromLocal(-2600, -3600), 1000);
}

TEST(ScalesTest, SumsWrapRound)
{
    EXPECT_EQ(localFromUtc(latest, 1), earliest);
    EXPECT_EQ(localFromUtc(earliest, -1), latest);
    EXPECT_EQ(utcFromLocal(earliest, 1), latest);
    EXPECT_EQ(utcFromLocal(latest, -1), earliest);
}

} // namespace
