#include "core/AsciiText.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(AsciiTextTest, EveryAsciiCharacterStays)
{
    for (char code = 0; code >= 0; ++code)
        EXPECT_EQ(toAscii(QString(QLatin1Char(code))), QByteArray(1, code)) << int{code};
}

TEST(AsciiTextTest, EveryOtherCharacterIsAQuestionMark)
{
    EXPECT_EQ(toAscii(u"b\u00fcro \u0080\u00ff\u0100\u20ac\ufffd~"_s), "b?ro ?????~");
}

TEST(AsciiTextTest, CharacterOfTwoUnitsIsTwoQuestionMarks)
{
    EXPECT_EQ(toAscii(u"a\U0001f600b"_s), "a??b");
}

TEST(AsciiTextTest, NoTextIsNoBytes)
{
    EXPECT_EQ(toAscii(QString()), "");
}

} // namespace
