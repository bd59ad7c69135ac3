// The passwords of the web's user levels, switched off for a time.

#include "system/PasswordDisable.h"

#include "fake/FakePlatform.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"
#include "system/StatusWord.h"

#include <gmock/gmock.h>

#include <QTimer>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// The platform's numbers of the two bits.
constexpr quint32 level2Bit = 1U << 2;
constexpr quint32 level3Bit = 1U << 3;
constexpr quint32 bothBits = level2Bit | level3Bit;

QString codeLine(const QString &code)
{
    return u"Qmzlog.msg(0, \"setPwDisable: disable code 0x%1\")"_s.arg(code);
}

QString timeOutLine(int ms)
{
    return u"Qmzlog.msg(0, \"setPwDisable: password time out %1 ms\")"_s.arg(ms);
}

QString restLine(int ms)
{
    return u"Qmzlog.msg(0, \"pwDisableTimeout: rest interval  %1 ms\")"_s.arg(ms);
}

class PasswordDisableTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setHasObjectDictionary(false);
        std::ranges::fill(fakeSharedArea(), quint8{0});
        start();
        // The first call in the process attaches the area; from here on every test finds it so.
        passwords->setPwDisable(0);
        clearPlatformCalls();
    }

    /** As at the start of the daemon. */
    void start()
    {
        passwords = std::make_unique<PasswordDisable>();
        PasswordDisable::registerPwDisable();
    }

    QTimer &timer() const { return *passwords->findChild<QTimer *>(); }
    static quint32 statusWord() { return readStatusWord(fakeSharedArea().data()); }
    static void setStatusWord(quint32 word)
    {
        for (int bit = 0; bit < 32; ++bit)
            writeStatusBit(fakeSharedArea().data(), bit, word >> bit & 1);
    }
    /** The period is over, without the wait. */
    void passPeriod() const { passwords->pwDisableTimeout(); }

    std::unique_ptr<PasswordDisable> passwords;
};

struct Code
{
    const char *name;
    quint32 given;
    quint32 kept;
    quint32 bits;
    int intervalMs; // -1: no timer
};

void PrintTo(const Code &code, std::ostream *out)
{
    *out << code.name;
}

class DisableCodeTest : public PasswordDisableTest, public testing::WithParamInterface<Code>
{
};

TEST_P(DisableCodeTest, SetsCodeBitsAndTimer)
{
    const Code code = GetParam();
    setStatusWord(0xFFFFFFFF & ~bothBits);

    passwords->setPwDisable(code.given);

    EXPECT_EQ(passwords->getPwDisable(), code.kept);
    EXPECT_EQ(statusWord(), (0xFFFFFFFF & ~bothBits) | code.bits);
    EXPECT_EQ(timer().isActive(), code.intervalMs >= 0);
    QStringList log{codeLine(u"%1"_s.arg(code.given, 8, 16, QChar(u'0')))};
    if (code.intervalMs >= 0) {
        EXPECT_EQ(timer().interval(), code.intervalMs);
        EXPECT_FALSE(timer().isSingleShot());
        log.append(timeOutLine(code.intervalMs));
    }
    EXPECT_EQ(platformCallTexts(), log);
}

INSTANTIATE_TEST_SUITE_P(Codes, DisableCodeTest,
                         testing::Values(Code{"Nothing", 0, 0, 0, -1},
                                         Code{"Level2", 0x10001, 0x10001, level2Bit, 60'000},
                                         Code{"Level3", 0x2000A, 0x2000A, level3Bit, 600'000},
                                         Code{"BothLevels", 0x3003C, 0x3003C, bothBits, 3'600'000},
                                         Code{"OneMinuteShortOfADay", 0x1059F, 0x1059F, level2Bit, 86'340'000},
                                         Code{"ADay", 0x105A0, 0x105A0, level2Bit, 86'400'000},
                                         Code{"LongerThanADay", 0x107D0, 0x107D0, level2Bit, 86'400'000},
                                         Code{"AllMinutes", 0x3FFFF, 0x3FFFF, bothBits, 86'400'000},
                                         Code{"LevelsWithoutMinutes", 0x30000, 0, 0, 0},
                                         Code{"MinutesWithoutLevel", 0xA, 0xA, 0, -1},
                                         Code{"UpperBitsAreKept", 0xFFFC0005, 0xFFFC0005, 0, -1},
                                         Code{"AllBits", 0xFFFFFFFF, 0xFFFFFFFF, bothBits, 86'400'000},
                                         Code{"UpperBitsWithoutMinutes", 0xFFFC0000, 0, 0, -1}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(PasswordDisableTest, EveryCallReplacesThePeriod)
{
    passwords->setPwDisable(0x2000A);

    passwords->setPwDisable(0x10001);

    EXPECT_EQ(passwords->getPwDisable(), 0x10001U);
    EXPECT_EQ(statusWord(), level2Bit);
    EXPECT_EQ(timer().interval(), 60'000);
    EXPECT_GT(timer().remainingTime(), 50'000);
}

TEST_F(PasswordDisableTest, CodeWithoutALevelEndsThePeriod)
{
    passwords->setPwDisable(0x3000A);

    passwords->setPwDisable(0xA);

    EXPECT_EQ(passwords->getPwDisable(), 0xAU);
    EXPECT_EQ(statusWord(), 0U);
    EXPECT_FALSE(timer().isActive());
}

TEST_F(PasswordDisableTest, TimerEndsThePeriod)
{
    passwords->setPwDisable(0x30001);
    clearPlatformCalls();
    timer().setInterval(1);

    ASSERT_TRUE(waitUntil([this] { return passwords->getPwDisable() == 0; }));

    EXPECT_FALSE(timer().isActive());
    EXPECT_EQ(statusWord(), 0U);
    EXPECT_EQ(platformCallTexts(), QStringList({codeLine(u"00000000"_s), restLine(1)}));
}

TEST_F(PasswordDisableTest, RestIntervalIsThatOfThePeriod)
{
    passwords->setPwDisable(0x10002);
    clearPlatformCalls();

    passPeriod();

    EXPECT_EQ(platformCallTexts(), QStringList({codeLine(u"00000000"_s), restLine(120'000)}));
    EXPECT_FALSE(timer().isActive());
}

TEST_F(PasswordDisableTest, LevelsWithoutMinutesEndOnTheNextTurn)
{
    passwords->setPwDisable(0x30000);
    EXPECT_EQ(platformCallTexts(), QStringList({codeLine(u"00030000"_s), timeOutLine(0)}));
    clearPlatformCalls();

    ASSERT_TRUE(waitUntil([this] { return !timer().isActive(); }));

    EXPECT_EQ(platformCallTexts(), QStringList({codeLine(u"00000000"_s), restLine(0)}));
}

TEST_F(PasswordDisableTest, BitsLeftByAnEarlierProcessStayUntilTheFirstCall)
{
    setStatusWord(0xFFFFFFFF);

    start();

    EXPECT_EQ(statusWord(), 0xFFFFFFFF);
    EXPECT_EQ(passwords->getPwDisable(), 0U);
    EXPECT_FALSE(timer().isActive());
    passwords->setPwDisable(0);
    EXPECT_EQ(statusWord(), 0xFFFFFFFF & ~bothBits);
}

TEST_F(PasswordDisableTest, ThousandCallsLeaveTheStateOfTheLast)
{
    for (quint32 i = 0; i < 1000; ++i)
        passwords->setPwDisable(i << 16 | i);

    EXPECT_EQ(passwords->getPwDisable(), 999U << 16 | 999U);
    EXPECT_EQ(statusWord(), bothBits); // 999 ends in two bits
    EXPECT_EQ(timer().interval(), 999 * 60'000);
    EXPECT_EQ(passwords->findChildren<QTimer *>().size(), 1);
}

TEST_F(PasswordDisableTest, IsRegisteredInTheObjectDictionary)
{
    setHasObjectDictionary(true);

    start();

    EXPECT_EQ(platformCallTexts(),
              QStringList{u"OdAccess.odRegisterObjectSync(16387, 1, 84, 1, \"com.ozt.nodekeep\", \"/system\", "
                          "\"getPwDisable\", \"setPwDisable\", \"pw disable\", 0)"_s});
}

TEST_F(PasswordDisableTest, ComesUpWithoutAnObjectDictionary)
{
    start();

    EXPECT_EQ(platformCallTexts(), QStringList());
    passwords->setPwDisable(0x10001);
    EXPECT_EQ(passwords->getPwDisable(), 0x10001U);
}

} // namespace
