#include "network/AddressText.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    const char *title;
    QString text;
    QString normalised; // empty: no address
};

const Row rows[] = {
    {"plain", u"192.168.10.7"_s, u"192.168.10.7"_s},
    {"smallest", u"0.0.0.0"_s, u"0.0.0.0"_s},
    {"largest", u"255.255.255.255"_s, u"255.255.255.255"_s},
    {"leading zeros are decimal", u"010.008.0.0001"_s, u"10.8.0.1"_s},
    {"white space around", u" \t10.0.0.1\r\n"_s, u"10.0.0.1"_s},
    {"white space within", u"10. 0.0.1"_s, {}},
    {"beyond a byte", u"10.0.0.256"_s, {}},
    {"far beyond", u"10.0.0.99999999999"_s, {}},
    {"one number", u"10"_s, {}},
    {"two numbers", u"10.1"_s, {}},
    {"three numbers", u"10.0.1"_s, {}},
    {"five numbers", u"10.0.0.0.1"_s, {}},
    {"an empty number", u"10..0.1"_s, {}},
    {"a dot behind", u"10.0.0.1."_s, {}},
    {"hexadecimal", u"0x0a.0.0.1"_s, {}},
    {"a sign", u"+10.0.0.1"_s, {}},
    {"a negative number", u"10.0.0.-1"_s, {}},
    {"digits of another script", u"1\u0661.0.0.1"_s, {}},
    {"a NUL behind", u"10.0.0.1"_s + QChar::Null, {}},
    {"a mask length", u"10.0.0.1/24"_s, {}},
    {"a name", u"localhost"_s, {}},
    {"empty", QString(), {}},
    {"blank", u"  "_s, {}},
    {"IPv6", u"2001:DB8:0:0::1"_s, u"2001:db8::1"_s},
    {"IPv6 with white space around", u" ::1\n"_s, u"::1"_s},
    {"IPv6 with an IPv4 end", u"::ffff:10.0.0.1"_s, u"::ffff:10.0.0.1"_s},
    {"IPv6 with a scope", u"fe80::1%eth0"_s, u"fe80::1%eth0"_s},
    {"IPv6 too long", u"1:2:3:4:5:6:7:8:9"_s, {}},
    {"a colon alone", u":"_s, {}},
};

TEST(AddressTextTest, TextIsNormalisedOrNoAddress)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(parseAddress(row.text).toString(), row.normalised);
        EXPECT_EQ(parseAddress(row.text).isNull(), row.normalised.isEmpty());
    }
}

TEST(AddressTextTest, ScopeHasItsLimit)
{
    const QString longest = u"fe80::1%"_s.leftJustified(1024 * 1024, u'x');

    EXPECT_EQ(parseAddress(longest).toString(), longest);
    EXPECT_TRUE(parseAddress(longest + u'x').isNull());
}

TEST(AddressTextTest, MegabyteOfDigitsIsNoAddress)
{
    EXPECT_TRUE(parseAddress(QString(1'000'000, u'1')).isNull());
    EXPECT_TRUE(parseAddress(QString(1'000'000, u'.')).isNull());
    EXPECT_TRUE(parseAddress(QString(1'000'000, u':')).isNull());
}

} // namespace
