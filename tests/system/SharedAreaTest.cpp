// When the shared area is attached: a program of its own, as that happens once in the life of a process.

#include "system/PasswordDisable.h"

#include "fake/FakePlatform.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

TEST(SharedAreaTest, IsAttachedByTheFirstCallAlone)
{
    const QStringList attach{u"GenGlobAccess.attach()"_s};
    const auto attachments = [] { return platformCallTexts().filter(u"attach"_s); };
    auto passwords = std::make_unique<PasswordDisable>();
    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(passwords->getPwDisable(), 0U);
    EXPECT_EQ(attachments(), QStringList());

    passwords->setPwDisable(0x10001);
    EXPECT_EQ(attachments(), attach);

    passwords->setPwDisable(0x20001);
    passwords->pwDisableTimeout();
    passwords = std::make_unique<PasswordDisable>();
    passwords->setPwDisable(0x10001);
    EXPECT_EQ(attachments(), attach);
}

} // namespace
