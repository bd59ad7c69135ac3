// What comes of the texts of date, hwclock and the kernel.

#include "logtime/Systemtime.h"

#include "support/BindMount.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class SystemtimeToolsTest : public testing::Test
{
protected:
    FakeTools tools;
    QTemporaryDir directory;
    Systemtime time{u"time"_s, nullptr};
};

struct Output
{
    const char *name;
    QByteArray script;
    QString text;
};

class SystemtimeOutputTest : public SystemtimeToolsTest, public testing::WithParamInterface<Output>
{
};

TEST_P(SystemtimeOutputTest, OfDateIsReturned)
{
    tools.addAt(u"/bin/date"_s, GetParam().script);

    EXPECT_EQ(time.getSytemTimeAsText(), GetParam().text);

    EXPECT_EQ(tools.calls(), (QStringList{u"date "_s}));
}

TEST_P(SystemtimeOutputTest, OfTheHardwareClockIsReturned)
{
    tools.addAt(u"/sbin/hwclock"_s, GetParam().script);

    EXPECT_EQ(time.getHwTimeAsText(), GetParam().text);

    EXPECT_EQ(tools.calls(), (QStringList{u"hwclock -r -u"_s}));
}

INSTANTIATE_TEST_SUITE_P(
    Outputs, SystemtimeOutputTest,
    testing::Values(Output{"Line", "echo Thu Jan 15 12:00:00 UTC 2026", u"Thu Jan 15 12:00:00 UTC 2026\n"_s},
                    Output{"WhiteSpace", "printf '  a \\r\\n\\n'", u"  a \r\n\n"_s}, Output{"Nothing", "", u""_s},
                    Output{"UpToNul", "printf 'a\\nb\\0c\\n'", u"a\nb"_s},
                    Output{"NulFirst", "printf '\\0c\\n'", u""_s},
                    Output{"OtherLetters", "printf 'Mär\\n'", u"Mär\n"_s},
                    Output{"ErrorsAreNotPartOfIt", "echo no clock >&2; echo a", u"a\n"_s},
                    Output{"OfAFailedTool", "echo a; exit 1", u"a\n"_s},
                    Output{"OfAKilledTool", "echo a; kill -9 $$", u"a\n"_s},
                    Output{"LongerThanAPipeHolds", "head -c 1000000 /dev/zero | tr '\\0' x", QString(1'000'000, u'x')},
                    Output{"LastPieceAfterAWhile", "echo a; sleep 0.3; echo b", u"a\nb\n"_s}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(SystemtimeToolsTest, RealDateIsReturnedWithItsLineEnd)
{
    const QString text = time.getSytemTimeAsText();

    EXPECT_GT(text.size(), 10);
    EXPECT_TRUE(text.endsWith(u'\n'));
}

TEST_F(SystemtimeToolsTest, ToolThatCannotBeStartedGivesNoText)
{
    const QString noProgram = directory.filePath(u"file"_s);
    writeFile(noProgram, "no program");
    const BindMount date(noProgram, u"/bin/date"_s);
    const BindMount hwClock(noProgram, u"/sbin/hwclock"_s);

    EXPECT_EQ(time.getSytemTimeAsText(), u""_s);
    EXPECT_EQ(time.getHwTimeAsText(), u""_s);
    time.systemTimeToHwClock();
    time.hwClockToSystemTime();
}

TEST_F(SystemtimeToolsTest, TextOfMoreThanAMebibyteIsNone)
{
    tools.addAt(u"/bin/date"_s, "yes | head -c 1048577");

    EXPECT_EQ(time.getSytemTimeAsText(), u""_s);
}

TEST_F(SystemtimeToolsTest, TransferIsWaitedFor)
{
    tools.addAt(u"/sbin/hwclock"_s, "sleep 0.5; echo done >>" + QFile::encodeName(directory.filePath(u"done"_s)));

    time.systemTimeToHwClock();
    time.hwClockToSystemTime();

    EXPECT_EQ(readFile(directory.filePath(u"done"_s)), "done\ndone\n");
    EXPECT_EQ(tools.calls(), (QStringList{u"hwclock -w -u"_s, u"hwclock -s -u"_s}));
}

TEST_F(SystemtimeToolsTest, EveryToolIsWaitedForHoweverLongItTakes)
{
    tools.addAt(u"/sbin/hwclock"_s,
                "sleep 0.3; echo done | tee -a " + QFile::encodeName(directory.filePath(u"done"_s)));
    tools.addAt(u"/bin/date"_s, "sleep 0.3; echo late");
    const Impatience impatience;

    time.systemTimeToHwClock();
    time.hwClockToSystemTime();

    EXPECT_EQ(readFile(directory.filePath(u"done"_s)), "done\ndone\n");
    EXPECT_EQ(time.getHwTimeAsText(), u"done\n"_s);
    EXPECT_EQ(time.getSytemTimeAsText(), u"late\n"_s);
}

TEST_F(SystemtimeToolsTest, TransferThatPrintsMoreThanAPipeHoldsEnds)
{
    tools.addAt(u"/sbin/hwclock"_s, "head -c 1000000 /dev/zero");

    time.systemTimeToHwClock();

    EXPECT_EQ(tools.calls(), (QStringList{u"hwclock -w -u"_s}));
}

TEST_F(SystemtimeToolsTest, TimeinfoTellsTheKernelsUptime)
{
    const double before = readFile(u"/proc/uptime"_s).split(' ').first().toDouble();

    const QJsonObject info = QJsonDocument::fromJson(time.jsonTimeinfo().toUtf8()).object();

    EXPECT_EQ(info.keys(), (QStringList{u"currenttime"_s, u"idletime"_s, u"uptime"_s}));
    EXPECT_GE(info[u"uptime"].toDouble(), before);
    EXPECT_LT(info[u"uptime"].toDouble(), before + 60);
    EXPECT_GT(info[u"idletime"].toDouble(-1), -1);
    EXPECT_LE(std::abs(info[u"currenttime"].toInteger() - time.getSystemTime()), 1);
}

TEST_F(SystemtimeToolsTest, TimeinfoIsEmptyWithoutTheKernelsFile)
{
    const BindMount noProc(directory.path(), u"/proc"_s);

    EXPECT_EQ(time.jsonTimeinfo(), u"{}"_s);
}

TEST_F(SystemtimeToolsTest, TimeinfoWaitsForNoFifo)
{
    const QString fifo = directory.filePath(u"fifo"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0666), 0);
    const BindMount mount(fifo, u"/proc/uptime"_s);

    EXPECT_EQ(time.jsonTimeinfo(), u"{}"_s);
}

} // namespace
