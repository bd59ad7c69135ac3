#include "plc/SysFileMap.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

struct Map
{
    const char *name;
    QByteArray text;
    QStringList names;
};

class SysFileMapTest : public testing::TestWithParam<Map>
{
};

TEST_P(SysFileMapTest, GivesTheNames)
{
    EXPECT_EQ(sysFileMapNames(GetParam().text), GetParam().names);
}

INSTANTIATE_TEST_SUITE_P(
    Maps, SysFileMapTest,
    testing::Values(
        Map{"Empty", "", {}}, Map{"NoSection", "[Other]\n/srv/codesys/a=1\n", {}},
        Map{"InOrder", "[SysFileMap]\n/srv/codesys/b=1\n/srv/codesys/a=2\n", {u"b"_s, u"a"_s}},
        Map{"Twice", "[SysFileMap]\n/srv/codesys/a=1\n/srv/codesys/a=2\n", {u"a"_s, u"a"_s}},
        Map{"DirectoriesAreDropped", "[SysFileMap]\n/srv/codesys/x/y/a.txt=1\n", {u"a.txt"_s}},
        Map{"NoEquals", "[SysFileMap]\n/srv/codesys/a\n/srv/codesys/b=1\n", {u"b"_s}},
        Map{"FirstEqualsCounts", "[SysFileMap]\n/srv/codesys/a=b/c=d\n", {u"a"_s}},
        Map{"ElsewhereIsPassedBy",
            "[SysFileMap]\n/etc/passwd=1\n/srv/codesys=2\n/srv/codesys2/a=3\n /srv/codesys/b=4\nx=/srv/codesys/c\n",
            {}},
        Map{"NothingBehindTheDirectory", "[SysFileMap]\n/srv/codesys/=1\n/srv/codesys/x/=1\n", {u""_s, u""_s}},
        Map{"BeforeTheSection", "/srv/codesys/a=1\n[SysFileMap]\n/srv/codesys/b=1\n", {u"b"_s}},
        Map{"HeadingLineIsNoEntry", "/srv/codesys/[SysFileMap]=1\n/srv/codesys/b=1\n", {u"b"_s}},
        Map{"NextSectionEnds", "[SysFileMap]\n/srv/codesys/a=1\n[Next]\n/srv/codesys/b=1\n", {u"a"_s}},
        Map{"AnyBracketEnds", "[SysFileMap]\n/srv/codesys/a=1\n[=\n/srv/codesys/b=1\n", {u"a"_s}},
        Map{"SectionDoesNotBeginAgain", "[SysFileMap]\n/srv/codesys/a=1\n[SysFileMap]\n/srv/codesys/b=1\n", {u"a"_s}},
        Map{"BracketInsideALine", "[SysFileMap]\n /[x]=1\n/srv/codesys/a[1]=1\n", {u"a[1]"_s}},
        Map{"NoLastLineEnd", "[SysFileMap]\n/srv/codesys/a=1", {u"a"_s}},
        Map{"CarriageReturns", "[SysFileMap]\r\n/srv/codesys/a=1\r\n/srv/codesys/b\r\n", {u"a"_s}},
        Map{"BlankLines", "\n\n[SysFileMap]\n\n\n/srv/codesys/a=1\n\n", {u"a"_s}},
        Map{"LineEndsAtNul", QByteArray("[SysFileMap]\n/srv/codesys/a\0=1\n/srv/codesys/b=\0\n", 48), {u"b"_s}},
        Map{"VisuAndPlcLogic",
            "[SysFileMap]\n/srv/codesys/visu/x=1\n/srv/codesys/visu_1=1\n/srv/codesys/PlcLogic=1\n",
            {u"x"_s, u"visu_1"_s, u"PlcLogic"_s}},
        Map{"OptionLike", "[SysFileMap]\n/srv/codesys/--help=1\n", {u"--help"_s}},
        Map{"Utf8", "[SysFileMap]\n/srv/codesys/gr\xc3\xb6\xc3\x9f\x65=1\n", {u"größe"_s}}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(SysFileMapSizeTest, TenMegabytesAreNoObstacle)
{
    const QByteArray line = "/srv/codesys/a=1\n";

    EXPECT_EQ(sysFileMapNames("[SysFileMap]\n" + line.repeated(600'000)).size(), 600'000);
    EXPECT_EQ(sysFileMapNames("[SysFileMap]\n/srv/codesys/" + QByteArray(10'000'000, 'x') + "=").first().size(),
              10'000'000);
}

} // namespace
