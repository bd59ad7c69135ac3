#include "firmware/FirmwareName.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    const char *title;
    QString name;
    int index;  // of a record
    int number; // that the directory takes up
};

const Row rows[] = {
    {"plain", u"fwupdate12"_s, 12, 12},
    {"zero", u"fwupdate0"_s, 0, 0},
    {"leading zeros", u"fwupdate007"_s, 7, 7},
    {"no digits", u"fwupdate"_s, -1, 0},
    {"another name", u"lost+found"_s, -1, 0},
    {"another name with a number", u"backup3"_s, 3, 0},
    {"only digits", u"42"_s, 42, 0},
    {"digits in the middle", u"fw1update"_s, -1, 0},
    {"digits twice", u"fw1update2"_s, -1, 0},
    {"something behind", u"fwupdate12x"_s, -1, 0},
    {"something before", u"xfwupdate12"_s, 12, 0},
    {"capitals", u"FWUPDATE12"_s, 12, 0},
    {"line feed behind", u"fwupdate12\n"_s, -1, 0},
    {"digits of another script", u"fwupdate\u0663"_s, -1, 0},
    {"empty", QString(), -1, 0},
    {"largest int", u"fwupdate2147483647"_s, 2147483647, 0},
    {"below the largest int", u"fwupdate2147483646"_s, 2147483646, 2147483646},
    {"beyond int", u"fwupdate2147483648"_s, 0, 0},
    {"far beyond int", u"fwupdate99999999999999999999"_s, 0, 0},
};

TEST(FirmwareNameTest, TellsIndexAndNumber)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(trailingNumber(row.name), row.index);
        EXPECT_EQ(occupiedNumber(row.name), row.number);
    }
}

TEST(FirmwareNameTest, NameOfTenThousandDigitsIsReadAtOnce)
{
    const QString digits(10000, u'7');

    EXPECT_EQ(trailingNumber(digits), 0);
    EXPECT_EQ(trailingNumber(digits + u'x'), -1);
    EXPECT_EQ(occupiedNumber(u"fwupdate"_s + digits), 0);
    EXPECT_EQ(occupiedNumber(u"fwupdate"_s + digits + u'x'), 0);
}

TEST(FirmwareNameTest, NumbersWrapRoundAtTheirEnds)
{
    EXPECT_EQ(wrappingAdd(7, 1), 8);
    EXPECT_EQ(wrappingAdd(0, -1), -1);
    EXPECT_EQ(wrappingAdd(2147483647, 1), -2147483647 - 1);
    EXPECT_EQ(wrappingAdd(-2147483647 - 1, -1), 2147483647);
}

} // namespace
