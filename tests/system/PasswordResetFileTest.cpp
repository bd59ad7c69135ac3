#include "system/PasswordResetFile.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <QBuffer>

namespace {

struct Text
{
    const char *name;
    QByteArray text;
    QByteArray hostname;
    QByteArray mac;
};

void PrintTo(const Text &text, std::ostream *out)
{
    *out << text.name;
}

class PasswordResetFileTest : public testing::TestWithParam<Text>
{
};

TEST_P(PasswordResetFileTest, FindsTheValues)
{
    QBuffer text;
    text.setData(GetParam().text);
    text.open(QIODevice::ReadOnly);

    const PasswordResetFile found = PasswordResetFile::read(text);

    EXPECT_EQ(found.hostname, GetParam().hostname);
    EXPECT_EQ(found.mac, GetParam().mac);
}

QByteArray padding(qsizetype length)
{
    return QByteArray(length, 'x');
}

INSTANTIATE_TEST_SUITE_P(
    Texts, PasswordResetFileTest,
    testing::Values(Text{"Plain", "hostname=node-1\nmac=00:11\n", "node-1", "00:11"},
                    Text{"NoLastLineFeed", "hostname=node-1\nmac=00:11", "node-1", "00:11"},
                    Text{"CarriageReturns", "hostname=node-1\r\nmac=00:11\r\n", "node-1", "00:11"},
                    Text{"OuterWhiteSpace", "hostname= \tnode-1 \nmac=\t00:11 \t\n", "node-1", "00:11"},
                    Text{"InnerWhiteSpaceStays", "hostname=a b\nmac=00 11\n", "a b", "00 11"},
                    Text{"OtherLinesBetween", "a\n\nhostname=node-1\nb=c\n\nmac=00:11\nd\n", "node-1", "00:11"},
                    Text{"MacFirstEndsTheReading", "mac=00:11\nhostname=node-1\n", "", "00:11"},
                    Text{"LaterHostnameWins", "hostname=a\nhostname=b\nmac=00:11\n", "b", "00:11"},
                    Text{"LaterEmptyHostnameWins", "hostname=a\nhostname=\nmac=00:11\n", "", "00:11"},
                    Text{"FirstMacWins", "hostname=a\nmac=1\nmac=2\n", "a", "1"},
                    Text{"EmptyMacEndsTheReading", "hostname=a\nmac=\nmac=2\n", "a", ""},
                    Text{"EmptyHostname", "hostname=\nmac=1\n", "", "1"}, Text{"OnlyHostname", "hostname=a\n", "a", ""},
                    Text{"OnlyMac", "mac=1\n", "", "1"}, Text{"Nothing", "", "", ""},
                    Text{"OnlyLineFeeds", "\n\n\n", "", ""},
                    Text{"PrefixesAreCaseSensitive", "Hostname=a\nMAC=1\n", "", ""},
                    Text{"PrefixesStandAtTheStart", " hostname=a\n\tmac=1\nxmac=2\n- mac=3\n", "", ""},
                    Text{"NoBlankAheadOfTheSign", "hostname =a\nmac =1\n", "", ""},
                    Text{"SignInTheValue", "hostname=a=b\nmac=1=2\n", "a=b", "1=2"},
                    Text{"NulInTheValueStays", QByteArray("hostname=a\0b\nmac=1\n", 19), QByteArray("a\0b", 3), "1"},
                    Text{"CarriageReturnAloneIsNoLineEnd", "hostname=a\rmac=1\r", "a\rmac=1", ""},
                    // 256 bytes are a line, whatever comes behind them.
                    Text{"ValueIsCutAtTheLimit", "hostname=" + padding(300) + "\nmac=1\n", padding(247), "1"},
                    Text{"LineOfTheLimit", "hostname=" + padding(246) + "\nmac=1\n", padding(246), "1"},
                    Text{"PieceIsTestedAsALine", padding(256) + "hostname=a\n" + padding(512) + "mac=1\n", "a", "1"},
                    Text{"PieceBeginsAtTheLimit", padding(255) + "hostname=a\n" + padding(257) + "mac=1\n", "", ""},
                    Text{"LineFeedOfALineOfTheLimitIsALine", padding(256) + "\nhostname=a\nmac=1\n", "a", "1"},
                    Text{"Megabyte", padding(1 << 20) + "\nhostname=a\nmac=1\n", "a", "1"}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
