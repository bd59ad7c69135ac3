// The list of applications as text, and its way into the runtime's configuration.

#include "plc/ApplicationList.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

TEST(ListFileTextTest, HoldsTheVersionAndALineForEachApplication)
{
    EXPECT_EQ(listFileText(u"35"_s, {u"Pump"_s, u"Fan control"_s}), "35\nPump\nFan control\n");
}

TEST(ListFileTextTest, WithoutApplicationsHoldsTheVersionAlone)
{
    EXPECT_EQ(listFileText(u""_s, {}), "\n");
}

TEST(ListFileTextTest, IsLocalText)
{
    EXPECT_EQ(listFileText(u"1"_s, {u"Füllstand"_s}), "1\nF\xc3\xbcllstand\n");
}

struct Patch
{
    const char *name;
    QByteArray configuration;
    QByteArray list;
    QByteArray expected;
};

class WithApplicationsTest : public testing::TestWithParam<Patch>
{
};

TEST_P(WithApplicationsTest, GivesTheNewConfiguration)
{
    const std::optional<QByteArray> patched = withApplications(GetParam().configuration, GetParam().list);

    ASSERT_TRUE(patched);
    EXPECT_EQ(*patched, GetParam().expected);
}

QByteArray entries(int first, int last)
{
    QByteArray lines;
    for (int number = first; number <= last; ++number)
        lines += "Application." + QByteArray::number(number) + "=old" + QByteArray::number(number) + '\n';
    return lines;
}

QByteArray names(int count)
{
    QByteArray lines;
    for (int number = 1; number <= count; ++number)
        lines += "new" + QByteArray::number(number) + '\n';
    return lines;
}

const QByteArray tail = "Bootproject.RetainMismatch.Init=1\n\n[CmpLog]\nLogger.0.Name=x\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, WithApplicationsTest,
    testing::Values(
        Patch{"ThreeApplicationsFollowTheHeadingInOrder", "[A]\nb=c\n[CmpApp]\n" + tail, "35\nOne\nTwo\nThree\n",
              "[A]\nb=c\n[CmpApp]\nApplication.1=One\nApplication.2=Two\nApplication.3=Three\n" + tail},
        Patch{"OldEntriesGo", "[CmpApp]\n" + entries(1, 3) + tail, "35\nNew\n", "[CmpApp]\nApplication.1=New\n" + tail},
        Patch{"EmptyListEmptiesTheSection", "[CmpApp]\n" + entries(1, 2) + tail, "", "[CmpApp]\n" + tail},
        Patch{"VersionAloneEmptiesTheSection", "[CmpApp]\n" + entries(1, 2) + tail, "35\n", "[CmpApp]\n" + tail},
        Patch{"VersionWithoutLineEndIsNoApplication", "[CmpApp]\n" + tail, "35", "[CmpApp]\n" + tail},
        Patch{"ListWithoutLastLineEndJoinsWhatFollows", "[CmpApp]\n" + tail, "35\nOne\nTwo",
              "[CmpApp]\nApplication.1=One\nApplication.2=Two" + tail},
        Patch{"BlankLineIsAnApplicationWithoutName", "[CmpApp]\n" + tail, "35\nOne\n\nThree\n",
              "[CmpApp]\nApplication.1=One\nApplication.2=\nApplication.3=Three\n" + tail},
        Patch{"LineOfTheListEndsAtNul", "[CmpApp]\n" + tail, QByteArray("35\nOne\0x\nTwo\n", 13),
              "[CmpApp]\nApplication.1=OneApplication.2=Two\n" + tail},
        Patch{"NulInTheVersionHidesNothing", "[CmpApp]\n" + tail, QByteArray("3\0005\nOne\n", 8),
              "[CmpApp]\nApplication.1=One\n" + tail},
        Patch{"CarriageReturnsOfTheListStay", "[CmpApp]\n" + tail, "35\r\nOne\r\nTwo\r\n",
              "[CmpApp]\nApplication.1=One\r\nApplication.2=Two\r\n" + tail},
        Patch{"CarriageReturnOfTheHeadingIsPartedFromItsLineFeed", "[CmpApp]\r\nx=y\r\n", "35\nOne\n",
              "[CmpApp]\rApplication.1=One\n\nx=y\r\n"},
        Patch{"BytesBeyondAsciiPass", "[CmpApp]\n# \xff\n", "35\nF\xc3\xbcll \xfe\n",
              "[CmpApp]\nApplication.1=F\xc3\xbcll \xfe\n# \xff\n"},
        Patch{"NulInTheConfigurationStays", QByteArray("a\0b\n[CmpApp]\nc\0d\n", 17), "35\nOne\n",
              QByteArray("a\0b\n[CmpApp]\nApplication.1=One\nc\0d\n", 35)},
        Patch{"GapInTheNumbersHidesNothing",
              "[CmpApp]\nApplication.2=b\nx=y\nApplication.7=g\nApplication.99=z\n" + tail, "35\n",
              "[CmpApp]\nx=y\n" + tail},
        Patch{"NumbersFrom100OnStay", "[CmpApp]\n" + entries(98, 102) + "Application.0=zero\n", "35\nOne\n",
              "[CmpApp]\nApplication.1=One\n" + entries(100, 102) + "Application.0=zero\n"},
        Patch{"FirstOfTwoOfANumberGoes", "[CmpApp]\nApplication.1=a\nApplication.1=b\n", "35\n",
              "[CmpApp]\nApplication.1=b\n"},
        Patch{"EntriesGoWhereverTheyStand", "[A]\nApplication.2=a\n[CmpApp]\nx=y\n[B]\nApplication.1=b\n", "35\nOne\n",
              "[A]\n[CmpApp]\nApplication.1=One\nx=y\n[B]\n"},
        Patch{"TextInFrontOfAnEntryStays", "[CmpApp]\n  My.Application.1=a\nx=y\n", "35\n", "[CmpApp]\n  My.x=y\n"},
        Patch{"EntryWithoutLineEndStays", "[CmpApp]\nApplication.1=a\nApplication.2=b", "35\nOne\n",
              "[CmpApp]\nApplication.1=One\nApplication.2=b"},
        Patch{"AllOf99Go", "[CmpApp]\n" + entries(1, 99) + tail, "35\n", "[CmpApp]\n" + tail},
        Patch{"NewNumbersGoBeyond99", "[CmpApp]\n", "35\n" + names(101),
              "[CmpApp]\n" +
                  [] {
                      QByteArray lines;
                      for (int number = 1; number <= 101; ++number)
                          lines +=
                              "Application." + QByteArray::number(number) + "=new" + QByteArray::number(number) + '\n';
                      return lines;
                  }()},
        Patch{"FirstHeadingCounts", "[CmpApp]\n[CmpApp]\n", "35\nOne\n", "[CmpApp]\nApplication.1=One\n[CmpApp]\n"},
        Patch{"HeadingIsFoundInsideALine", "# see [CmpApp] below\n", "35\nOne\n",
              "# see [CmpApp] Application.1=One\nbelow\n"},
        Patch{"HeadingAtTheEndGetsABlank", "[CmpApp]", "35\nOne\n", "[CmpApp] Application.1=One\n"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(WithApplicationsObstacleTest, NothingWithoutTheHeading)
{
    EXPECT_FALSE(withApplications("Application.1=a\n[cmpapp]\n[CmpApp\n", "35\nOne\n"));
    EXPECT_FALSE(withApplications("", "35\nOne\n"));
}

TEST(WithApplicationsObstacleTest, TenMegabytesAreNoObstacle)
{
    const QByteArray bulk = QByteArray("# filler\n").repeated(1'200'000);
    const QByteArray longName(10'000'000, 'x');

    const std::optional<QByteArray> patched =
        withApplications(bulk + "[CmpApp]\n" + entries(1, 99) + bulk, "35\n" + longName + '\n');

    ASSERT_TRUE(patched);
    EXPECT_TRUE(*patched == bulk + "[CmpApp]\nApplication.1=" + longName + '\n' + bulk);
}

class WithDefaultApplicationTest : public testing::TestWithParam<Patch>
{
};

TEST_P(WithDefaultApplicationTest, GivesTheNewConfiguration)
{
    const std::optional<QByteArray> patched = withDefaultApplication(GetParam().configuration);

    ASSERT_TRUE(patched);
    EXPECT_EQ(*patched, GetParam().expected);
}

const QByteArray entry = "Application.1=Application\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, WithDefaultApplicationTest,
    testing::Values(Patch{"FollowsTheEntry", "[CmpApp]\n" + tail, "",
                          "[CmpApp]\nBootproject.RetainMismatch.Init=1\n" + entry + "\n[CmpLog]\nLogger.0.Name=x\n"},
                    Patch{"OldEntriesStay", entries(1, 2) + "Bootproject.RetainMismatch.Init=1\n", "",
                          entries(1, 2) + "Bootproject.RetainMismatch.Init=1\n" + entry},
                    Patch{"CarriageReturnIsPartedFromItsLineFeed", "Bootproject.RetainMismatch.Init=1\r\nx\r\n", "",
                          "Bootproject.RetainMismatch.Init=1\r" + entry + "\nx\r\n"},
                    Patch{"LongerNumberIsParted", "Bootproject.RetainMismatch.Init=12\n", "",
                          "Bootproject.RetainMismatch.Init=12" + entry + "\n"},
                    Patch{"EntryAtTheEndGetsABlank", "Bootproject.RetainMismatch.Init=1", "",
                          "Bootproject.RetainMismatch.Init=1 " + entry}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(WithDefaultApplicationObstacleTest, NothingWithoutTheEntry)
{
    EXPECT_FALSE(withDefaultApplication("[CmpApp]\nBootproject.RetainMismatch.Init=0\n"));
    EXPECT_FALSE(withDefaultApplication(""));
}

} // namespace
