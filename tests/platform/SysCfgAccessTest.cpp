#include "LoggedCalls.h"

#include "support/BindMount.h"
#include "support/Messages.h"
#include <qmz/SysCfgAccess.h>

#include <QElapsedTimer>
#include <QTest>

#include <sys/mount.h>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QString ledDir = u"/sys/class/leds/qmz:signal/"_s;

void darken()
{
    writeFile(ledDir + u"trigger"_s, "none");
}

/** The kernel's files, as plain ones: what is written last can be read back. */
class SysCfgAccessTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(::mount("tmpfs", "/sys/class", "tmpfs", 0, nullptr), 0);
        removeAll(platformLogDir);
    }

    void TearDown() override { EXPECT_EQ(::umount("/sys/class"), 0); }

    static void makeLed()
    {
        darken();
        writeFile(ledDir + u"delay_on"_s, "");
        writeFile(ledDir + u"delay_off"_s, "");
    }

    static QByteArray trigger() { return readFile(ledDir + u"trigger"_s); }
};

} // namespace

TEST_F(SysCfgAccessTest, IsOneInstance)
{
    ASSERT_NE(SysCfgAccess::getInstance(), nullptr);
    EXPECT_EQ(SysCfgAccess::getInstance(), SysCfgAccess::getInstance());
}

TEST_F(SysCfgAccessTest, RecordsTheEffectAndMakesNothingWhereThereIsNoLed)
{
    SysCfgAccess::getInstance()->startLedEffect(10, 1);

    EXPECT_EQ(loggedCalls(), QStringList{u"SysCfgAccess.startLedEffect[10,1]"_s});
    EXPECT_FALSE(fileExists(u"/sys/class/leds"_s));
}

TEST_F(SysCfgAccessTest, BlinksAtOnceAndIsDarkAfterTheGivenTime)
{
    makeLed();

    SysCfgAccess::getInstance()->startLedEffect(1, 3);

    EXPECT_EQ(trigger(), "timer");
    EXPECT_GT(readFile(ledDir + u"delay_on"_s).toInt(), 0);
    EXPECT_GT(readFile(ledDir + u"delay_off"_s).toInt(), 0);
    EXPECT_TRUE(waitUntil([] { return trigger() == "none"; }));
}

TEST_F(SysCfgAccessTest, LedThatRefusesIsIgnored)
{
    makeLed();
    removeAll(ledDir + u"delay_off"_s);
    const Messages messages;
    {
        const BindMount full(u"/dev/full"_s, ledDir + u"trigger"_s);

        SysCfgAccess::getInstance()->startLedEffect(60, 5);
    }

    EXPECT_EQ(loggedCalls(), QStringList{u"SysCfgAccess.startLedEffect[60,5]"_s});
    EXPECT_EQ(messages.texts(), QStringList{u"signal LED: the kernel refused timer as trigger, ignoring"_s});
    EXPECT_GT(readFile(ledDir + u"delay_on"_s).toInt(), 0);
}

TEST_F(SysCfgAccessTest, EveryEffectBlinksInItsOwnTime)
{
    makeLed();
    QStringList phases;

    for (const int effect : {1, 2, 3, 5, 6}) {
        writeFile(ledDir + u"delay_on"_s, "");
        SysCfgAccess::getInstance()->startLedEffect(60, effect);
        phases.append(QString::fromLatin1(readFile(ledDir + u"delay_on"_s)));
    }

    EXPECT_EQ(phases.removeDuplicates(), 0) << qPrintable(phases.join(u' '));
}

TEST_F(SysCfgAccessTest, TheEndOfAnEffectLeavesALaterOneRunning)
{
    makeLed();
    SysCfgAccess::getInstance()->startLedEffect(1, 2);
    QElapsedTimer sinceLater;
    sinceLater.start();
    SysCfgAccess::getInstance()->startLedEffect(3, 5);

    EXPECT_TRUE(waitUntil([] { return trigger() == "none"; }));

    EXPECT_GE(sinceLater.elapsed(), 2800);
}

TEST_F(SysCfgAccessTest, TheLongestEffectDoesNotEndAtOnce)
{
    makeLed();

    SysCfgAccess::getInstance()->startLedEffect(std::numeric_limits<int>::max(), 6);
    QTest::qWait(200);

    EXPECT_EQ(trigger(), "timer");
}

TEST_F(SysCfgAccessTest, ATimeOfZeroOrLessEndsTheEffectOnTheNextTurnOfTheLoop)
{
    for (const int seconds : {0, -5, std::numeric_limits<int>::min()}) {
        makeLed();
        SysCfgAccess::getInstance()->startLedEffect(seconds, 6);
        EXPECT_TRUE(waitUntil([] { return trigger() == "none"; })) << seconds;
    }
}
