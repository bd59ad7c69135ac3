#include "base/AsciiText.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(AsciiTextTest, EveryAsciiCharacterStays)
{
    for (int code = 0; code < 0x80; ++code)
        EXPECT_EQ(toAscii(QString(QChar(code))), QByteArray(1, static_cast<char>(code))) << code;
}

TEST(AsciiTextTest, EveryOtherCharacterIsAQuestionMark)
{
    EXPECT_EQ(toAscii(u"b\u00fcro \u0080\u00ff\u0100\u20ac\ufffd~"_s), "b?ro ?????~");
}

TEST(AsciiTextTest, CharacterOfTwoUnitsIsOneQuestionMark)
{
    EXPECT_EQ(toAscii(u"a\U0001f600b"_s), "a?b");
    EXPECT_EQ(toAscii(u"\U00010000\U0010ffff"_s), "??");
}

TEST(AsciiTextTest, HalfOfACharacterIsAQuestionMark)
{
    const QString high(QChar(0xd83d));
    const QString low(QChar(0xde00));

    EXPECT_EQ(toAscii(u'a' + high + u'b'), "a?b");
    EXPECT_EQ(toAscii(u'a' + low + u'b'), "a?b");
    EXPECT_EQ(toAscii(u'a' + high), "a?");
    EXPECT_EQ(toAscii(low + high), "??");
}

TEST(AsciiTextTest, NoTextIsNoBytes)
{
    EXPECT_EQ(toAscii(QString()), "");
}

} // namespace
