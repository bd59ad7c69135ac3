#include "firmware/Md5Text.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

namespace {

const QByteArray sum = "d41d8cd98f00b204e9800998ecf8427e";

TEST(Md5TextTest, DigestStandsBeforeTwoBlanks)
{
    EXPECT_EQ(md5DigestIn(sum + "  linuximage\n"), sum);
    EXPECT_EQ(md5DigestIn(sum + "  a  b\n"), sum);
    EXPECT_EQ(md5DigestIn(sum + "   linuximage\n"), sum);
    EXPECT_EQ(md5DigestIn("  linuximage\n"), "");
}

TEST(Md5TextTest, WithoutTwoBlanksTheWholeTextCounts)
{
    EXPECT_EQ(md5DigestIn(sum + '\n'), sum + '\n');
    EXPECT_EQ(md5DigestIn(sum + " *linuximage\n"), sum + " *linuximage\n");
    EXPECT_EQ(md5DigestIn(""), "");
}

TEST(Md5TextTest, BytesPassAsTheyAre)
{
    EXPECT_EQ(md5DigestIn(QByteArray("\0\xff  x", 5)), QByteArray("\0\xff", 2));
}

} // namespace
