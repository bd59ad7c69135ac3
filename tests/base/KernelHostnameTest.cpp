#include "base/KernelHostname.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace {

TEST(KernelHostnameTest, IsTheKernelsName)
{
    EXPECT_EQ(readKernelHostname(), QSysInfo::machineHostName());
}

} // namespace
