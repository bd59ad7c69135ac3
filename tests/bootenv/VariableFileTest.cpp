#include "bootenv/VariableFile.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

struct Line
{
    const char *name;
    QByteArray bytes;
    QString expected; ///< the variable's name, or the comment as it is written; null: the line is not kept
    QString value = {};
};

std::string nameOf(const testing::TestParamInfo<Line> &row)
{
    return row.param.name;
}

class VariableTest : public testing::TestWithParam<Line>
{
};

TEST_P(VariableTest, HasNameAndValue)
{
    const VariableFile file(GetParam().bytes);

    EXPECT_EQ(file.names(), QStringList{GetParam().expected});
    EXPECT_EQ(file.value(GetParam().expected), GetParam().value);
    EXPECT_EQ(file.toBytes(), (GetParam().expected + u'=' + GetParam().value + u'\n').toUtf8());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, VariableTest,
    testing::Values(
        Line{"Plain", "a=1\n", u"a"_s, u"1"_s}, Line{"WithoutLineFeed", "a=1", u"a"_s, u"1"_s},
        Line{"CarriageReturn", "a=1\r\n", u"a"_s, u"1"_s}, Line{"BlanksAround", " a = 1 \n", u"a"_s, u"1"_s},
        Line{"TabsAround", "\ta\t=\t1\t\n", u"a"_s, u"1"_s}, Line{"BlanksInside", "a b=c d\n", u"a b"_s, u"c d"_s},
        Line{"EmptyValue", "a=\n", u"a"_s, u""_s}, Line{"ValueOfBlanks", "a=  \n", u"a"_s, u""_s},
        Line{"SecondDivider", "a==b\n", u"a"_s, u"=b"_s}, Line{"LaterDivider", "a=b=c\n", u"a"_s, u"b=c"_s},
        Line{"Quotes", "a=\" b \"\n", u"a"_s, u"\" b \""_s}, Line{"ShellWord", "export a=1\n", u"export a"_s, u"1"_s},
        Line{"HashAfterABlank", " #x=1\n", u"#x"_s, u"1"_s}, Line{"HashInTheValue", "a=1 #x\n", u"a"_s, u"1 #x"_s},
        Line{"Backslash", "a=1\\\n", u"a"_s, u"1\\"_s},
        Line{"NonAscii",
             "gr\xc3\xb6\xc3\x9f"
             "e=\xe2\x82\xac\n",
             u"größe"_s, u"€"_s},
        Line{"BeyondTheBasicPlane", "a=\xf0\x9f\x94\xa7\n", u"a"_s, u"🔧"_s},
        Line{"DamagedUtf8", "a\xff=\xc3\n", u"a\uFFFD"_s, u"\uFFFD"_s},
        Line{"NulInTheValue", QByteArray("a=1\0002\n", 6), u"a"_s, u"1"_s},
        Line{"NulBehindTheDivider", QByteArray("a=\0001\n", 5), u"a"_s, u""_s}),
    nameOf);

class CommentTest : public testing::TestWithParam<Line>
{
};

TEST_P(CommentTest, IsKeptButForOuterWhiteSpace)
{
    const VariableFile file(GetParam().bytes);

    EXPECT_EQ(file.toBytes(), (GetParam().expected + u'\n').toUtf8());
    EXPECT_EQ(file.names(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommentTest,
    testing::Values(Line{"Shell", "#!/bin/sh\n", u"#!/bin/sh"_s}, Line{"HashAlone", "#", u"#"_s},
                    Line{"TrailingBlanks", "#x  \n", u"#x"_s}, Line{"CarriageReturn", "#x\r\n", u"#x"_s},
                    Line{"BlanksInside", "# a  b \t\r\n", u"# a  b"_s}, Line{"WithADivider", "#a=1\n", u"#a=1"_s},
                    Line{"NonAscii", "#\xc3\xb6\xe2\x80\x83\n", u"#ö"_s}, Line{"DamagedUtf8", "#\xff\n", u"#\uFFFD"_s},
                    Line{"BehindAByteOrderMark", "\xef\xbb\xbf#x\n", u"#x"_s},
                    Line{"CutAtNul", QByteArray("#x\0y\n", 5), u"#x"_s}),
    nameOf);

class DroppedLineTest : public testing::TestWithParam<Line>
{
};

TEST_P(DroppedLineTest, IsNotKept)
{
    const VariableFile file(GetParam().bytes);

    EXPECT_EQ(file.names(), QStringList());
    EXPECT_EQ(file.toBytes(), "");
}

INSTANTIATE_TEST_SUITE_P(Lines, DroppedLineTest,
                         testing::Values(Line{"Nothing", "", {}}, Line{"Empty", "\n", {}}, Line{"Blanks", " \t \n", {}},
                                         Line{"WithoutDivider", "junk\n", {}}, Line{"DividerFirst", "=v\n", {}},
                                         Line{"DividerAlone", "=", {}}, Line{"NameOfABlank", " =v\n", {}},
                                         Line{"NameOfWhiteSpace", "\t \r=v\n", {}},
                                         Line{"NulFirst", QByteArray("\0a=1\n", 5), {}},
                                         Line{"NulBeforeTheDivider", QByteArray("a\0=1\n", 5), {}},
                                         Line{"CommentBehindABlank", " #x\n", {}}),
                         nameOf);

QByteArray lineOf(const QString &name, const QString &value)
{
    VariableFile file{QByteArray()};
    file.set(name, value);
    return file.toBytes();
}

TEST(VariableThatIsSetTest, IsTrimmedWithItsName)
{
    EXPECT_EQ(lineOf(u"a"_s, u"1"_s), "a=1\n");
    EXPECT_EQ(lineOf(u"a"_s, u""_s), "a=\n");
    EXPECT_EQ(lineOf(u"a"_s, u" 1 "_s), "a= 1\n");
    EXPECT_EQ(lineOf(u" a "_s, u"1"_s), "a =1\n");
    EXPECT_EQ(lineOf(u"a"_s, u"1\u2003"_s), "a=1\n");
    EXPECT_EQ(lineOf(u""_s, u"1"_s), "=1\n");
    EXPECT_EQ(lineOf(u"a=b"_s, u"c\nd"_s), "a=b=c\nd\n");
    EXPECT_EQ(lineOf(u"größe"_s, u"\"€\""_s), "gr\xc3\xb6\xc3\x9f"
                                              "e=\"\xe2\x82\xac\"\n");
}

TEST(VariableThatIsSetTest, IsGivenAsItWasSet)
{
    VariableFile file{QByteArray("a=1\n")};
    for (const QString &text : {u" 1 "_s, u"\ufeff1"_s, u"ö\n"_s, u"2"_s}) {
        file.set(u"a"_s, text);
        file.set(text, u"x"_s);

        EXPECT_EQ(file.value(u"a"_s), text);
        EXPECT_EQ(file.names().last(), text);
        EXPECT_EQ(file.value(text), u"x"_s);
    }
}

TEST(NewVariableFileTest, IsAScript)
{
    const VariableFile file(std::nullopt);

    EXPECT_EQ(file.toBytes(), "#!/bin/sh\n");
    EXPECT_EQ(file.names(), QStringList());
}

TEST(VariableThatIsSetTest, IsLeftOutWhereAllWouldTakeMoreThanAnAnswerOnTheBus)
{
    const auto around = QByteArrayView("a=").size() + 32; // of which 32 go into lengths, type and padding
    const QString longest(31 * 1024 * 1024 - around, u'x');
    VariableFile file(QByteArray{});

    file.set(u"a"_s, longest + u'x');
    EXPECT_FALSE(file.contains(u"a"_s));

    file.set(u"a"_s, longest);
    EXPECT_EQ(file.value(u"a"_s), longest);

    file.set(u"a"_s, longest + u'x');
    file.set(u""_s, u""_s);
    EXPECT_EQ(file.value(u"a"_s), longest);
    EXPECT_EQ(file.names(), QStringList(u"a"_s));
}

TEST(UnquotedValueTest, LosesOnePairOfDoubleQuotesAndOuterWhiteSpace)
{
    const QList<std::pair<QString, QString>> rows{
        {u"1.2"_s, u"1.2"_s},
        {u"\"1.2\""_s, u"1.2"_s},
        {u"  \"1.2\" "_s, u"1.2"_s},
        {u"\" 1.2 \""_s, u" 1.2 "_s},
        {u"\"a"_s, u"\"a"_s},
        {u"a\""_s, u"a\""_s},
        {u"\""_s, u""_s},
        {u"\"\""_s, u""_s},
        {u"\"\"a\"\""_s, u"\"a\""_s},
        {u"\"a\"b\""_s, u"a\"b"_s},
        {u"'a'"_s, u"'a'"_s},
        {u"a\"b\"c"_s, u"a\"b\"c"_s},
        {u""_s, u""_s},
        {u" \t"_s, u""_s},
        {u"\"\"\""_s, u"\""_s},
    };

    for (const auto &[value, expected] : rows)
        EXPECT_EQ(unquotedValue(value), expected) << "of " << qPrintable(value);
}

} // namespace
