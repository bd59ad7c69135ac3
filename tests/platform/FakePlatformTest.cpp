#include "fake/FakePlatform.h"
#include "support/QtPrinting.h"

#include <qmz/FactoryManager.h>
#include <qmz/GenGlobAccess.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/OdAccess.h>
#include <qmz/Qmzlog.h>
#include <qmz/SysCfgAccess.h>
#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

class FakePlatformTest : public ::testing::Test
{
protected:
    void SetUp() override { resetFakePlatform(); }
};

} // namespace

TEST_F(FakePlatformTest, RemembersEveryCallInOrder)
{
    setHasObjectDictionary(true);

    FactoryManager(u"system"_s, u"^x$"_s, nullptr).start();
    qmz::qmzlog.open(u"ident"_s, 168, 0);
    qmz::qmzlog.setSyslogLevelWarning();
    qmz::qmzlog.msg(QtDebugMsg, "%s %d", "a", 1);
    qmz::globAcc.attach();
    SysCfgAccess::getInstance()->startLedEffect(10, 6);
    OdAccess::getInstance()->odRegisterObjectSync(1, 2, 3, 4, u"s"_s, u"/p"_s, u"g"_s, u"t"_s, u"l"_s, 5);
    const Upstart jobs;
    Upstart::start(u"ntp"_s, false);
    Upstart::stop(u"ntp"_s, true);
    Upstart::restartNameservices();
    qmz::SystemEvent::firmwareUpdate(qmz::SystemEvent::UpdateStarted, u"/"_s);

    EXPECT_EQ(platformCallTexts(),
              (QStringList{
                  u"FactoryManager.FactoryManager(\"system\", \"^x$\")"_s,
                  u"FactoryManager.start()"_s,
                  u"Qmzlog.open(\"ident\", 168, 0)"_s,
                  u"Qmzlog.setSyslogLevelWarning()"_s,
                  u"Qmzlog.msg(0, \"a 1\")"_s,
                  u"GenGlobAccess.attach()"_s,
                  u"SysCfgAccess.startLedEffect(10, 6)"_s,
                  u"OdAccess.odRegisterObjectSync(1, 2, 3, 4, \"s\", \"/p\", \"g\", \"t\", \"l\", 5)"_s,
                  u"Upstart.Upstart()"_s,
                  u"Upstart.start(\"ntp\", false)"_s,
                  u"Upstart.stop(\"ntp\", true)"_s,
                  u"Upstart.restartNameservices()"_s,
                  u"SystemEvent.firmwareUpdate(5, \"/\")"_s,
              }));
}

TEST_F(FakePlatformTest, ForgetsTheCallsWhenTold)
{
    Upstart::restartNameservices();

    clearPlatformCalls();
    qmz::SystemEvent::reboot(u"/"_s);

    EXPECT_THAT(platformCalls(), ::testing::ElementsAre(PlatformCall{u"SystemEvent.reboot"_s, {u"/"_s}}));
}

TEST_F(FakePlatformTest, TellsAnObserverOfEachCallAsItHappens)
{
    QStringList seen;
    onPlatformCall([&seen](const PlatformCall &call) { seen.append(toText(call)); });

    Upstart::restartNameservices();
    EXPECT_EQ(seen, QStringList{u"Upstart.restartNameservices()"_s});

    onPlatformCall({});
    Upstart::restartNameservices();
    EXPECT_EQ(seen.size(), 1);
}

TEST_F(FakePlatformTest, IsLikeTheDeviceThatTheTestWants)
{
    EXPECT_FALSE(qmz::NodekeepGlobals::hasCodesys());
    EXPECT_EQ(OdAccess::getInstance(), nullptr);

    setHasCodesys(true);
    setHasObjectDictionary(true);

    EXPECT_TRUE(qmz::NodekeepGlobals::hasCodesys());
    EXPECT_NE(OdAccess::getInstance(), nullptr);
}

TEST_F(FakePlatformTest, ShowsTheAreaThatTheCodeUnderTestWrites)
{
    qmz::globAcc.bytes()[3930] = 0x0C;
    EXPECT_EQ(fakeSharedArea()[3930], 0x0C);

    resetFakePlatform();
    EXPECT_EQ(fakeSharedArea()[3930], 0);
    EXPECT_EQ(qmz::globAcc.bytes()[3930], 0);
}
