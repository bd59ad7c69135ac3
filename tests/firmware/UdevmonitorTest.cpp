#include "firmware/Udevmonitor.h"

#include <gtest/gtest.h>

namespace {

TEST(UdevmonitorTest, EndsTheProcessWhereTheFilterIsRefused)
{
    EXPECT_DEATH(Udevmonitor(nullptr, nullptr), "block udev match failed");
}

} // namespace
