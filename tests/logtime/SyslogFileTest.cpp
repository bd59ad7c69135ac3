#include "logtime/SyslogFile.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

static void PrintTo(const SyslogSettings &settings, std::ostream *out)
{
    *out << (settings.logLocal ? "local " : "not local ");
    PrintTo(settings.remoteTarget, out);
    *out << ' ' << settings.logSizeKb;
}

namespace {

const QByteArray heading =
    "#non-standard config file used for syslogd.conf in upstart, do not edit use nodekeep/system/syslog\n";

struct Text
{
    const char *name;
    QByteArray text;
    SyslogSettings settings;
};

SyslogSettings sized(int logSizeKb)
{
    return {.logLocal = true, .remoteTarget = {}, .logSizeKb = logSizeKb};
}

SyslogSettings sentTo(const QString &remoteTarget)
{
    return {.logLocal = true, .remoteTarget = remoteTarget, .logSizeKb = 200};
}

SyslogSettings local(bool logLocal)
{
    return {.logLocal = logLocal, .remoteTarget = {}, .logSizeKb = 200};
}

class SyslogFileReadTest : public testing::TestWithParam<Text>
{
};

TEST_P(SyslogFileReadTest, YieldsTheSettings)
{
    EXPECT_EQ(parseSyslogFile(GetParam().text), GetParam().settings);
}

std::string nameOf(const testing::TestParamInfo<Text> &row)
{
    return row.param.name;
}

INSTANTIATE_TEST_SUITE_P(
    Whole, SyslogFileReadTest,
    testing::Values(Text{"Nothing", "", {}}, Text{"HeadingAlone", heading, {}},
                    Text{"Defaults", heading + "SIZE=\"-s 200\"\nLOCAL=-L\n", {}},
                    Text{"AllThree",
                         heading + "SIZE=\"-s 64\"\nREMOTE=\"-R loghost:514\"\nLOCAL=\n",
                         {false, u"loghost:514"_s, 64}},
                    Text{"OtherOrder", "LOCAL=\nREMOTE=\"-R a\"\nSIZE=\"-s 1\"\n", {false, u"a"_s, 1}},
                    Text{"CarriageReturns", "SIZE=\"-s 1\"\r\nREMOTE=\"-R a\"\r\nLOCAL=\r\n", {false, u"a"_s, 1}},
                    Text{"NoLastLineFeed", "REMOTE=\"-R a\"\nLOCAL=", {false, u"a"_s, 200}},
                    Text{"BlankLines", "\n\n\nSIZE=\"-s 1\"\n\n", sized(1)}, Text{"LineFeedsAlone", "\n\n\n", {}},
                    Text{"NulsAlone", QByteArray(100, '\0'), {}},
                    Text{"TwoSizes", "SIZE=\"-s 1\"\nSIZE=\"-s 2\"\n", sized(2)},
                    Text{"RemoteThenNone", "REMOTE=\"-R a\"\nREMOTE=\n", {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Lines, SyslogFileReadTest,
    testing::Values(Text{"Comment", "#SIZE=\"-s 1\"\n", {}}, Text{"BlankBeforeComment", " #SIZE=\"-s 1\"\n", {}},
                    Text{"BlankBeforeName", " SIZE=\"-s 1\"\n", {}}, Text{"TabBeforeName", "\tLOCAL=\n", {}},
                    Text{"ExportedName", "export LOCAL=\n", {}}, Text{"LowerCase", "size=\"-s 1\"\n", {}},
                    Text{"ShortName", "SIZ=\"-s 1\"\n", {}}, Text{"NoName", "=\"-s 1\"\n", {}},
                    Text{"NoDivider", "SIZE \"-s 1\"\nLOCAL\n", {}}, Text{"DividerAlone", "=\n", {}},
                    Text{"TwoDividers", "SIZE==\"-s 1\"\nLOCAL==\n", {}},
                    Text{"DividerInValue", "REMOTE=\"-R a=b\"\n", {}}, Text{"DividerLast", "LOCAL=-L=\n", {}},
                    Text{"LongerName", "SIZEX=\"-s 1\"\n", sized(1)},
                    Text{"BlankAfterName", "SIZE =\"-s 1\"\n", sized(1)},
                    Text{"LongerRemoteName", "REMOTE_TARGET=\"-R a\"\n", sentTo(u"a"_s)},
                    Text{"LongerLocalName", "LOCALE=\n", local(false)},
                    Text{"OneNameInAnother", "SIZEREMOTE=\"-R 5\"\nREMOTESIZE=\"-s 6\"\n", {true, u"6"_s, 5}},
                    Text{"NulBeforeName", QByteArray("\0SIZE=\"-s 1\"\n", 13), {}},
                    Text{"NulAfterName", QByteArray("SIZE\0=\"-s 1\"\n", 13), sized(1)}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Sizes, SyslogFileReadTest,
    testing::Values(Text{"Zero", "SIZE=\"-s 0\"\n", sized(0)}, Text{"Negative", "SIZE=\"-s -5\"\n", sized(-5)},
                    Text{"Largest", "SIZE=\"-s 2147483647\"\n", sized(2147483647)},
                    Text{"Smallest", "SIZE=\"-s -2147483648\"\n", sized(-2147483647 - 1)},
                    Text{"TooLarge", "SIZE=\"-s 2147483648\"\n", sized(0)},
                    Text{"LeadingZeros", "SIZE=\"-s 010\"\n", sized(10)},
                    Text{"Hexadecimal", "SIZE=\"-s 0x10\"\n", sized(0)}, Text{"Word", "SIZE=\"-s many\"\n", sized(0)},
                    Text{"Fraction", "SIZE=\"-s 1.5\"\n", sized(0)}, Text{"EmptySize", "SIZE=\n", sized(0)},
                    Text{"EmptyQuotes", "SIZE=\"\"\n", sized(0)}, Text{"OptionAlone", "SIZE=\"-s\"\n", sized(0)},
                    Text{"NoQuotes", "SIZE=-s 200\n", sized(20)}, Text{"OneDigitNoQuotes", "SIZE=-s 2\n", sized(0)},
                    Text{"NoOption", "SIZE=200\"\n", sized(200)}, Text{"NoOptionNoQuotes", "SIZE=200\n", sized(20)},
                    Text{"QuoteFirstAndNoBlank", "SIZE=\"200\"\n", sized(0)},
                    Text{"NoBlankBehindOption", "SIZE=\"-s200\"\n", sized(0)},
                    Text{"ManyBlanks", "SIZE=\"-s   \t 7\"  \n", sized(7)},
                    Text{"BlankBeforeOption", "SIZE= \"-s 7\"\n", sized(0)},
                    Text{"TabBehindOption", "SIZE=\"-s\t7\"\n", sized(0)}, Text{"Two", "SIZE=\"-s 7 8\"\n", sized(0)}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Targets, SyslogFileReadTest,
                         testing::Values(Text{"Address", "REMOTE=\"-R 192.168.1.5\"\n", sentTo(u"192.168.1.5"_s)},
                                         Text{"NoQuotes", "REMOTE=-R host\n", sentTo(u"hos"_s)},
                                         Text{"NoOption", "REMOTE=\"host\"\n", sentTo(u"\"host"_s)},
                                         Text{"Empty", "REMOTE=\n", {}},
                                         Text{"EmptyQuotes", "REMOTE=\"\"\n", sentTo(u"\""_s)},
                                         Text{"OptionAlone", "REMOTE=\"-R \"\n", {}},
                                         Text{"BlankInside", "REMOTE=\"-R a b\"\n", sentTo(u"a b"_s)},
                                         Text{"QuoteInside", "REMOTE=\"-R a\"b\"\n", sentTo(u"a\"b"_s)},
                                         Text{"HashInside", "REMOTE=\"-R a#b\"\n", sentTo(u"a#b"_s)},
                                         Text{"BlankLast", "REMOTE=\"-R a \"\n", sentTo(u"a "_s)},
                                         Text{"Nul", QByteArray("REMOTE=\"-R a\0b\"\n", 16), sentTo(u"a"_s)},
                                         Text{"NulFirst", QByteArray("REMOTE=\"-R \0b\"\n", 15), {}},
                                         Text{"Utf8", "REMOTE=\"-R b\xc3\xbcro\"\n", sentTo(u"büro"_s)},
                                         Text{"DamagedUtf8", "REMOTE=\"-R b\xfcro\"\n", sentTo(u"b\ufffdro"_s)},
                                         Text{"Long", "REMOTE=\"-R " + QByteArray(1'000'000, 'x') + "\"\n",
                                              sentTo(QString(1'000'000, u'x'))}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(Locals, SyslogFileReadTest,
                         testing::Values(Text{"Option", "LOCAL=-L\n", local(true)},
                                         Text{"Empty", "LOCAL=\n", local(false)},
                                         Text{"BlanksAlone", "LOCAL= \t \n", local(false)},
                                         Text{"EmptyQuotes", "LOCAL=\"\"\n", local(true)},
                                         Text{"OtherValue", "LOCAL=no\n", local(true)},
                                         Text{"OffAndOnAgain", "LOCAL=\nLOCAL=-L\n", local(false)},
                                         Text{"OnAndOff", "LOCAL=-L\nLOCAL=\n", local(false)},
                                         Text{"NulAlone", QByteArray("LOCAL=\0\n", 8), local(true)}),
                         nameOf);

class SyslogFileWriteTest : public testing::TestWithParam<Text>
{
};

TEST_P(SyslogFileWriteTest, PutsTheSettingsBelowTheHeading)
{
    EXPECT_EQ(syslogFile(GetParam().settings), heading + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, SyslogFileWriteTest,
    testing::Values(Text{"Defaults", "SIZE=\"-s 200\"\nLOCAL=-L\n", {}},
                    Text{"NotLocal", "SIZE=\"-s 200\"\nLOCAL=\n", local(false)},
                    Text{"Target", "SIZE=\"-s 200\"\nREMOTE=\"-R loghost:514\"\nLOCAL=-L\n", sentTo(u"loghost:514"_s)},
                    Text{"AllThree", "SIZE=\"-s 64\"\nREMOTE=\"-R a\"\nLOCAL=\n", {false, u"a"_s, 64}},
                    Text{"Zero", "SIZE=\"-s 0\"\nLOCAL=-L\n", sized(0)},
                    Text{"Negative", "SIZE=\"-s -2147483648\"\nLOCAL=-L\n", sized(-2147483647 - 1)},
                    Text{"BlankAndQuote", "SIZE=\"-s 200\"\nREMOTE=\"-R a \"b\"\nLOCAL=-L\n", sentTo(u"a \"b"_s)},
                    Text{"Divider", "SIZE=\"-s 200\"\nREMOTE=\"-R a=b\"\nLOCAL=-L\n", sentTo(u"a=b"_s)},
                    Text{"LineFeed", "SIZE=\"-s 200\"\nREMOTE=\"-R a\nb\"\nLOCAL=-L\n", sentTo(u"a\nb"_s)},
                    Text{"BeyondAscii", "SIZE=\"-s 200\"\nREMOTE=\"-R b?ro??~\"\nLOCAL=-L\n",
                         sentTo(u"büro€\U0001f600~"_s)}),
    nameOf);

class SyslogFileRoundTripTest : public testing::TestWithParam<Text>
{
};

TEST_P(SyslogFileRoundTripTest, ReadsBackAsItWas)
{
    EXPECT_EQ(parseSyslogFile(syslogFile(GetParam().settings)), GetParam().settings);
}

INSTANTIATE_TEST_SUITE_P(Settings, SyslogFileRoundTripTest,
                         testing::Values(Text{"Defaults", {}, {}}, Text{"All", {}, {false, u"[fe80::1]:514"_s, -3}},
                                         Text{"Blank", {}, sentTo(u"a b"_s)}, Text{"Quotes", {}, sentTo(u"\"a\"\""_s)},
                                         Text{"Shell", {}, sentTo(u"$(reboot);`x`"_s)}),
                         nameOf);

TEST(SyslogFileTest, TargetOfMoreThanAMebibyteIsNone)
{
    const QByteArray longest(1024 * 1024, 'x');

    EXPECT_EQ(parseSyslogFile("REMOTE=\"-R " + longest + "\"\n").remoteTarget, QString::fromUtf8(longest));
    EXPECT_EQ(parseSyslogFile("REMOTE=\"-R " + longest + "x\"\n").remoteTarget, QString());
}

TEST(SyslogFileTest, TargetWithADividerReadsBackEmptyAndSparesTheOtherSettings)
{
    const SyslogSettings written{false, u"a=b"_s, 64};

    const SyslogSettings expected{false, QString(), 64};
    EXPECT_EQ(parseSyslogFile(syslogFile(written)), expected);
}

TEST(SyslogFileTest, TargetWithALineFeedCanSetWhatFollows)
{
    const SyslogSettings written{true, u"a\"\nSIZE=\"-s 7"_s, 64};

    const SyslogSettings expected{true, u"a"_s, 7};
    EXPECT_EQ(parseSyslogFile(syslogFile(written)), expected);
}

} // namespace
