// The link /etc/localtime, and the zones to choose from.

#include "logtime/Systemtime.h"

#include "support/BindMount.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <unistd.h>

#include <array>

using namespace Qt::StringLiterals;

namespace {

const QString linkPath = u"/etc/localtime"_s;

class SystemtimeZoneTest : public testing::Test
{
protected:
    SystemtimeZoneTest() { removeAll(linkPath); }

    static void link(const char *target) { ASSERT_EQ(::symlink(target, "/etc/localtime"), 0); }

    /** The link's text as it stands; empty when there is no link. */
    static QByteArray linkText()
    {
        std::array<char, 4096> text{};
        const ssize_t length = ::readlink("/etc/localtime", text.data(), text.size());
        return length < 0 ? QByteArray() : QByteArray(text.data(), length);
    }

    QTemporaryDir directory;
    Systemtime time{u"time"_s, nullptr};
};

struct Link
{
    const char *name;
    const char *target;
    QString zone;
};

class SystemtimeLinkTest : public SystemtimeZoneTest, public testing::WithParamInterface<Link>
{
};

TEST_P(SystemtimeLinkTest, TellsTheZone)
{
    link(GetParam().target);

    EXPECT_EQ(time.getTimezone(), GetParam().zone);
}

INSTANTIATE_TEST_SUITE_P(
    Targets, SystemtimeLinkTest,
    testing::Values(Link{"Absolute", "/usr/share/zoneinfo/Europe/Berlin", u"Europe/Berlin"_s},
                    Link{"Relative", "../usr/share/zoneinfo/Europe/Berlin", u"Europe/Berlin"_s},
                    Link{"ThreeLevels", "/usr/share/zoneinfo/America/Indiana/Knox", u"America/Indiana/Knox"_s},
                    Link{"ZoneThatDoesNotExist", "/usr/share/zoneinfo/Mars/Base", u"Mars/Base"_s},
                    Link{"OtherTree", "/opt/zoneinfo/Mars", u"Mars"_s},
                    Link{"FirstMarkCounts", "/usr/share/zoneinfo/x/zoneinfo/UTC", u"x/zoneinfo/UTC"_s},
                    Link{"PointsAreResolved", "../usr/share/zoneinfo/Asia/../Europe/./Rome", u"Europe/Rome"_s},
                    Link{"DirectoryOfAllZones", "/usr/share/zoneinfo", u"re/zoneinfo"_s},
                    Link{"MarkInOtherCase", "/usr/share/ZoneInfo/UTC", u"re/ZoneInfo/UTC"_s},
                    Link{"WithoutMark", "/etc/timezone-file", u"ezone-file"_s}, Link{"Short", "/etc/x", u""_s}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(SystemtimeZoneTest, WithoutLinkItIsUtc)
{
    EXPECT_EQ(time.getTimezone(), u"UTC"_s);
}

TEST_F(SystemtimeZoneTest, FileIsUtcWhateverItHolds)
{
    writeFile(linkPath, readFile(u"/usr/share/zoneinfo/Europe/Berlin"_s));

    EXPECT_EQ(time.getTimezone(), u"UTC"_s);
}

TEST_F(SystemtimeZoneTest, DirectoryIsUtc)
{
    ASSERT_TRUE(QDir().mkpath(linkPath));

    EXPECT_EQ(time.getTimezone(), u"UTC"_s);
}

struct Zone
{
    const char *name;
    QString zone;
    QByteArray link;
    QString readBack;
};

class SystemtimeSetZoneTest : public SystemtimeZoneTest, public testing::WithParamInterface<Zone>
{
};

TEST_P(SystemtimeSetZoneTest, ReplacesTheLink)
{
    link("/usr/share/zoneinfo/Asia/Tokyo");

    time.setTimezone(GetParam().zone);

    EXPECT_EQ(linkText(), GetParam().link);
    EXPECT_EQ(time.getTimezone(), GetParam().readBack);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, SystemtimeSetZoneTest,
    testing::Values(Zone{"City", u"Europe/Berlin"_s, "../usr/share/zoneinfo/Europe/Berlin", u"Europe/Berlin"_s},
                    Zone{"Same", u"Asia/Tokyo"_s, "../usr/share/zoneinfo/Asia/Tokyo", u"Asia/Tokyo"_s},
                    Zone{"NoRegion", u"UTC"_s, "../usr/share/zoneinfo/UTC", u"UTC"_s},
                    Zone{"Region", u"Europe"_s, "../usr/share/zoneinfo/Europe", u"Europe"_s},
                    Zone{"FileThatIsNoZone", u"zone.tab"_s, "../usr/share/zoneinfo/zone.tab", u"zone.tab"_s},
                    Zone{"Empty", u""_s, "../usr/share/zoneinfo/", u"re/zoneinfo"_s},
                    Zone{"Slash", u"/UTC"_s, "../usr/share/zoneinfo//UTC", u"UTC"_s},
                    Zone{"PointsInside", u"Asia/../UTC"_s, "../usr/share/zoneinfo/Asia/../UTC", u"UTC"_s},
                    Zone{"PointsOutside", u"../../../etc/hostname"_s, "../usr/share/zoneinfo/../../../etc/hostname",
                         u"tname"_s}),
    [](const auto &row) { return std::string(row.param.name); });

class SystemtimeUnknownZoneTest : public SystemtimeZoneTest, public testing::WithParamInterface<QString>
{
};

TEST_P(SystemtimeUnknownZoneTest, ChangesNothing)
{
    link("/usr/share/zoneinfo/Asia/Tokyo");

    time.setTimezone(GetParam());

    EXPECT_EQ(linkText(), "/usr/share/zoneinfo/Asia/Tokyo");
}

INSTANTIATE_TEST_SUITE_P(Zones, SystemtimeUnknownZoneTest,
                         testing::Values(u"Mars/Base"_s, u"europe/berlin"_s, u"Europe/Berlin "_s, u"UTC\n"_s, u"UTC/"_s,
                                         u"UTC\0"_s, u"\0"_s, u"../nothing"_s, QString(100'000, u'x'),
                                         QString(QChar(0xd800))));

TEST_F(SystemtimeZoneTest, FileGivesWayToTheLink)
{
    writeFile(linkPath, "zone data");

    time.setTimezone(u"UTC"_s);

    EXPECT_EQ(linkText(), "../usr/share/zoneinfo/UTC");
}

TEST_F(SystemtimeZoneTest, LinkIsMadeWhereThereIsNone)
{
    time.setTimezone(u"UTC"_s);

    EXPECT_EQ(linkText(), "../usr/share/zoneinfo/UTC");
}

TEST_F(SystemtimeZoneTest, DirectoryInTheLinksPlaceStays)
{
    ASSERT_TRUE(QDir().mkpath(linkPath));

    time.setTimezone(u"Europe/Berlin"_s);

    EXPECT_EQ(time.getTimezone(), u"UTC"_s);
    EXPECT_EQ(QDir(linkPath).isEmpty(), true);
}

TEST_F(SystemtimeZoneTest, LinkStaysWhereNothingCanBeWritten)
{
    link("/usr/share/zoneinfo/Asia/Tokyo");
    const BindMount readOnly(u"/etc"_s, u"/etc"_s, MS_RDONLY);

    time.setTimezone(u"UTC"_s);

    EXPECT_EQ(linkText(), "/usr/share/zoneinfo/Asia/Tokyo");
}

TEST_F(SystemtimeZoneTest, ZonesAreThoseOfTheSystem)
{
    ASSERT_TRUE(QDir(directory.path()).mkpath(u"Moon"_s));
    writeFile(directory.filePath(u"Moon/Crater"_s), {});
    writeFile(directory.filePath(u"UTC"_s), {});
    const BindMount zones(directory.path(), u"/usr/share/zoneinfo"_s);

    EXPECT_EQ(time.jsonTimezones(), u"{\"path\":\"\",\"subdirs\": [{\"path\":\"Moon\",\"selections\":[\"Crater\"]}],"
                                    "\"selections\":[\"UTC\"]}"_s);
}

TEST_F(SystemtimeZoneTest, RealZonesStandInTheText)
{
    const QString zones = time.jsonTimezones();

    for (const QString &zone : {u"Berlin"_s, u"New_York"_s, u"Kolkata"_s, u"Knox"_s, u"UTC"_s})
        EXPECT_TRUE(zones.contains(u'"' + zone + u'"')) << qPrintable(zone);
}

} // namespace
