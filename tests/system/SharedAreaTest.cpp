// When the shared area is attached: a program of its own, as that happens once in the life of a process.

#include "system/SystemFixture.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

class SystemSharedAreaTest : public SystemFixture
{
};

TEST_F(SystemSharedAreaTest, IsAttachedByTheFirstCallAlone)
{
    const QStringList attach{u"GenGlobAccess.attach()"_s};
    const auto attachments = [] { return platformCallTexts().filter(u"attach"_s); };
    start();
    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(system->getPwDisable(), 0U);
    EXPECT_EQ(attachments(), QStringList());

    system->setPwDisable(0x10001);
    EXPECT_EQ(attachments(), attach);

    system->setPwDisable(0x20001);
    ASSERT_TRUE(QMetaObject::invokeMethod(system.get(), "pwDisableTimeout"));
    start();
    system->setPwDisable(0x10001);
    EXPECT_EQ(attachments(), attach);
}

} // namespace
