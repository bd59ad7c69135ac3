// The stored settings and what is done with them.

#include "can/CanFixture.h"

#include "support/FileEvents.h"
#include "support/Impatience.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <QTemporaryDir>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QByteArray defaults = "#!/bin/sh\nBITRATE=1000000\nTERMINATION=0\nRESTART=1000\n";

class CanInterfaceTest : public CanFixture
{
};

// Start

TEST_F(CanInterfaceTest, FirstStartWritesTheDefaultsAndLeavesTheHardware)
{
    start();

    EXPECT_EQ(readFile(storePath), defaults);
    EXPECT_EQ(readFile(nodePath), "untouched");
    EXPECT_EQ(tools.calls(), QStringList());
    EXPECT_EQ(can->getCanBaudrate(), 1000000);
    EXPECT_EQ(can->getRestartMs(), 1000U);
}

TEST_F(CanInterfaceTest, FileWithoutBitRateGetsAllDefaults)
{
    startWith("#!/bin/sh\n# by hand\nTERMINATION=1\nOTHER=x\n");

    EXPECT_EQ(readFile(storePath), "#!/bin/sh\n# by hand\nTERMINATION=0\nOTHER=x\nBITRATE=1000000\nRESTART=1000\n");
    EXPECT_EQ(readFile(nodePath), "untouched");
}

TEST_F(CanInterfaceTest, FileWithoutTerminationGetsItOff)
{
    startWith("#!/bin/sh\nBITRATE=500000\n");

    EXPECT_EQ(readFile(storePath), "#!/bin/sh\nBITRATE=500000\nTERMINATION=0\n");
    EXPECT_EQ(readFile(nodePath), QByteArray(1, '\0'));
    EXPECT_EQ(can->getRestartMs(), 0U);
    EXPECT_EQ(tools.calls(), QStringList());
}

struct StoredState
{
    const char *name;
    QByteArray stored;
    char byte;
};

class CanInterfaceStateTest : public CanFixture, public testing::WithParamInterface<StoredState>
{
};

TEST_P(CanInterfaceStateTest, ReachesTheHardwareAtStartAndTheFileAsZeroOrOne)
{
    startWith("BITRATE=500000\nTERMINATION=" + GetParam().stored + "\nRESTART=7\n");

    EXPECT_EQ(readFile(nodePath), QByteArray(1, GetParam().byte));
    const QByteArray digit = GetParam().byte ? "1" : "0";
    EXPECT_EQ(readFile(storePath), "BITRATE=500000\nTERMINATION=" + digit + "\nRESTART=7\n");
    EXPECT_EQ(tools.calls(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(States, CanInterfaceStateTest,
                         testing::Values(StoredState{"Off", "0", 0}, StoredState{"On", "1", 1},
                                         StoredState{"Empty", "", 0}, StoredState{"GreaterThanOne", "2", 1},
                                         StoredState{"BelowZero", "-1", 1}, StoredState{"InQuotes", "\"1\"", 1},
                                         StoredState{"Word", "true", 0}, StoredState{"TooGreat", "4294967296", 0}),
                         [](const auto &row) { return std::string(row.param.name); });

struct StoredNumber
{
    const char *name;
    QByteArray stored;
    int rate;
    uint restartMs;
};

class CanInterfaceNumberTest : public CanFixture, public testing::WithParamInterface<StoredNumber>
{
};

TEST_P(CanInterfaceNumberTest, IsReadAsDecimal)
{
    startWith("BITRATE=" + GetParam().stored + "\nRESTART=" + GetParam().stored + '\n');

    EXPECT_EQ(can->getCanBaudrate(), GetParam().rate);
    EXPECT_EQ(can->getRestartMs(), GetParam().restartMs);
}

INSTANTIATE_TEST_SUITE_P(Numbers, CanInterfaceNumberTest,
                         testing::Values(StoredNumber{"Ordinary", "250000", 250000, 250000},
                                         StoredNumber{"Zero", "0", 0, 0},
                                         StoredNumber{"InQuotes", "\"250000\"", 250000, 250000},
                                         StoredNumber{"Empty", "", 0, 0}, StoredNumber{"Word", "fast", 0, 0},
                                         StoredNumber{"Hexadecimal", "0x10", 0, 0},
                                         StoredNumber{"BelowZero", "-5", -5, 0}, StoredNumber{"Fraction", "5.5", 0, 0},
                                         StoredNumber{"GreatestInt", "2147483647", 2147483647, 2147483647},
                                         StoredNumber{"GreatestUint", "4294967295", 0, 4294967295U},
                                         StoredNumber{"TooGreat", "4294967296", 0, 0}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(CanInterfaceTest, StateIsStoredBeforeItReachesTheHardware)
{
    start();
    FileEvents events({u"/etc/network"_s, u"/dev"_s});

    can->setTermination(true);

    EXPECT_EQ(events.paths(u"write"_s), (QStringList{storePath, nodePath}));
}

TEST_F(CanInterfaceTest, ActualRateIsAskedForHalfAMinute)
{
    start();
    tools.addAt(u"/sbin/canconfig"_s, "sleep 0.3; echo bitrate: 500000, x");
    const Impatience impatience;

    EXPECT_EQ(can->getActualBaudrate(), 0);

    EXPECT_EQ(impatience.longestLimit(), 30);
}

TEST_F(CanInterfaceTest, PortIsRestartedHoweverLongItTakes)
{
    start();
    const QTemporaryDir directory;
    const QByteArray done = QFile::encodeName(directory.filePath(u"done"_s));
    for (const char *tool : {"ifdown", "ifconfig", "ifup"})
        tools.addAt(u"/sbin/"_s + QString::fromLatin1(tool), QByteArray("sleep 0.2; echo ") + tool + " >>" + done);
    const Impatience impatience;

    can->setBaudrate(500000);

    EXPECT_EQ(readFile(directory.filePath(u"done"_s)), "ifdown\nifconfig\nifup\n");
}

TEST_F(CanInterfaceTest, FileThatCannotBeReadCountsAsAFirstStart)
{
    ASSERT_TRUE(QDir().mkpath(storePath));

    start();

    EXPECT_EQ(can->getCanBaudrate(), 1000000);
    EXPECT_EQ(readFile(nodePath), "untouched");
}

TEST_F(CanInterfaceTest, StoreIsItsOnlyNamedChild)
{
    start();

    EXPECT_TRUE(can->findChild<BareboxConfig *>(u"canconfig"_s, Qt::FindDirectChildrenOnly));
}

TEST_F(CanInterfaceTest, MayGoBeforeItsParent)
{
    QObject parent;
    {
        CanInterface onTheFrame(&parent);
    }

    EXPECT_TRUE(parent.children().isEmpty());
}

// Bit rate and restart time

class CanInterfaceRateTest : public CanFixture, public testing::WithParamInterface<int>
{
};

TEST_P(CanInterfaceRateTest, IsStoredBeforeThePortIsRestarted)
{
    start();
    tools.add(u"ifdown"_s, "cp /etc/network/canconfig /tmp/canconfig-at-ifdown");

    can->setBaudrate(GetParam());

    const QByteArray content =
        "#!/bin/sh\nBITRATE=" + QByteArray::number(GetParam()) + "\nTERMINATION=0\nRESTART=1000\n";
    EXPECT_EQ(readFile(u"/tmp/canconfig-at-ifdown"_s), content);
    EXPECT_EQ(tools.calls(), portRestarted);
    EXPECT_EQ(can->getCanBaudrate(), GetParam());
    EXPECT_EQ(readFile(nodePath), "untouched");
}

INSTANTIATE_TEST_SUITE_P(Rates, CanInterfaceRateTest,
                         testing::Values(125000, 1000000, 0, -1, std::numeric_limits<int>::max(),
                                         std::numeric_limits<int>::min()));

class CanInterfaceRestartTimeTest : public CanFixture, public testing::WithParamInterface<uint>
{
};

TEST_P(CanInterfaceRestartTimeTest, IsStoredBeforeThePortIsRestarted)
{
    start();
    tools.add(u"ifdown"_s, "cp /etc/network/canconfig /tmp/canconfig-at-ifdown");

    can->setRestartMs(GetParam());

    const QByteArray content =
        "#!/bin/sh\nBITRATE=1000000\nTERMINATION=0\nRESTART=" + QByteArray::number(GetParam()) + '\n';
    EXPECT_EQ(readFile(u"/tmp/canconfig-at-ifdown"_s), content);
    EXPECT_EQ(tools.calls(), portRestarted);
    EXPECT_EQ(can->getRestartMs(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Times, CanInterfaceRestartTimeTest,
                         testing::Values(0U, 1000U, 5000U, std::numeric_limits<uint>::max()));

TEST_F(CanInterfaceTest, SameValueRestartsThePortAsWell)
{
    start();

    can->setBaudrate(1000000);
    can->setRestartMs(1000);

    EXPECT_EQ(tools.calls(), portRestarted + portRestarted);
    EXPECT_EQ(readFile(storePath), defaults);
}

TEST_F(CanInterfaceTest, ToolsThatFailChangeNothing)
{
    start();
    for (const QString &tool : {u"ifdown"_s, u"ifconfig"_s, u"ifup"_s})
        tools.add(tool, "kill -9 $$");

    can->setBaudrate(5);

    EXPECT_EQ(tools.calls(), portRestarted);
    EXPECT_EQ(can->getCanBaudrate(), 5);
}

TEST_F(CanInterfaceTest, ToolsThatCannotBeStartedAreLeftOut)
{
    start();
    const QTemporaryDir directory;
    writeFile(directory.filePath(u"file"_s), "no program");
    const BindMount noIfdown(directory.filePath(u"file"_s), u"/sbin/ifdown"_s);
    const BindMount noIfconfig(directory.filePath(u"file"_s), u"/sbin/ifconfig"_s);

    can->setBaudrate(5);

    EXPECT_EQ(tools.calls(), QStringList{u"ifup can0"_s});
    EXPECT_TRUE(readFile(storePath).contains("BITRATE=5\n"));
}

TEST_F(CanInterfaceTest, EachToolIsWaitedFor)
{
    start();
    removeAll(u"/tmp/ends"_s);
    for (const QString &tool : {u"ifdown"_s, u"ifconfig"_s, u"ifup"_s})
        tools.add(tool, "sleep 0.2; echo " + tool.toLatin1() + " >>/tmp/ends");

    can->setRestartMs(5);

    EXPECT_EQ(readFile(u"/tmp/ends"_s), "ifdown\nifconfig\nifup\n");
}

TEST_F(CanInterfaceTest, ValueCountsThoughItCannotBeStored)
{
    start();
    const BindMount readOnly(u"/etc"_s, u"/etc"_s, MS_RDONLY);

    can->setBaudrate(5);

    EXPECT_EQ(can->getCanBaudrate(), 5);
    EXPECT_EQ(tools.calls(), portRestarted);
    EXPECT_EQ(readFile(storePath), defaults);
}

// The port's own rate

TEST_F(CanInterfaceTest, RateOfThePortIsAsked)
{
    tools.addAt(u"/sbin/canconfig"_s, "echo 'can0 bitrate: 125000, sample-point: 0.875'");
    start();

    EXPECT_EQ(can->getActualBaudrate(), 125000);
    EXPECT_EQ(can->getCanBaudrate(), 1000000);

    EXPECT_EQ(tools.calls(), QStringList{u"canconfig can0"_s});
}

TEST_F(CanInterfaceTest, RateIsTakenFromAToolThatFails)
{
    tools.addAt(u"/sbin/canconfig"_s, "echo 'bitrate: 5,'; echo 'bitrate: 6,' >&2; exit 1");
    start();

    EXPECT_EQ(can->getActualBaudrate(), 5);
}

TEST_F(CanInterfaceTest, RateIsZeroWithoutAnAnswer)
{
    tools.addAt(u"/sbin/canconfig"_s, "echo no such port >&2");
    start();

    EXPECT_EQ(can->getActualBaudrate(), 0);
}

TEST_F(CanInterfaceTest, RateIsZeroWhenTheToolCannotBeStarted)
{
    start();
    const BindMount noProgram(storePath, u"/sbin/canconfig"_s);

    EXPECT_EQ(can->getActualBaudrate(), 0);
}

} // namespace
