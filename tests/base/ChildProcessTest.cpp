#include "base/ChildProcess.h"

#include "base/RegularFile.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDir>
#include <QFileSystemWatcher>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr int soonMs = 50;

class ChildProcessTest : public testing::Test
{
protected:
    FakeTools tools;
    QProcess process;
};

TEST_F(ChildProcessTest, MissingToolIsAFailureAtOnce)
{
    EXPECT_EQ(runTool(process, u"no-such-tool"_s, {}), ToolEnd::NotStarted);
}

TEST_F(ChildProcessTest, ToolIsFoundThroughPathAndGetsItsArguments)
{
    tools.add(u"tool"_s, "printf '<%s>' \"$@\"\n");

    EXPECT_EQ(toolOutput(u"tool"_s, {u"-x"_s, u""_s, u"a  b"_s, u"$HOME"_s}), "<-x><><a  b><$HOME>");
}

TEST_F(ChildProcessTest, AnotherStatusThanNullIsAFailure)
{
    tools.add(u"tool"_s, "exit 3\n");

    EXPECT_EQ(runTool(process, u"tool"_s, {}), ToolEnd::Failed);
}

TEST_F(ChildProcessTest, CrashIsAFailure)
{
    tools.add(u"tool"_s, "kill -SEGV $$\n");

    EXPECT_EQ(runTool(process, u"tool"_s, {}), ToolEnd::Failed);
}

TEST_F(ChildProcessTest, ToolThatOverrunsGoesOnUntilItsObjectIsDestroyed)
{
    const Messages messages;
    tools.add(u"tool"_s, "exec sleep 600\n");
    qint64 id = 0;
    {
        QProcess overrunning;

        EXPECT_EQ(runTool(overrunning, u"tool"_s, {}, soonMs), ToolEnd::StillRunning);

        EXPECT_TRUE(overrunning.waitForStarted(-1)); // which may take longer than it was given
        id = overrunning.processId();
        EXPECT_EQ(overrunning.state(), QProcess::Running);
        EXPECT_EQ(::kill(static_cast<pid_t>(id), 0), 0);
    }
    EXPECT_EQ(::kill(static_cast<pid_t>(id), 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(ChildProcessTest, SecondToolIsNotStartedOnAnObjectWhoseFirstOverran)
{
    const Messages messages;
    tools.add(u"first"_s, "exec sleep 600\n");
    tools.add(u"second"_s);
    runTool(process, u"first"_s, {}, soonMs);
    // Its record, which the first writes before it falls asleep, may come after the time is up.
    waitUntil([this] { return !tools.calls().isEmpty(); });

    EXPECT_EQ(runTool(process, u"second"_s, {}, soonMs), ToolEnd::NotStarted);

    EXPECT_EQ(messages.texts(), (QStringList{u"first is still running"_s, u"second can't be started"_s}));

    EXPECT_EQ(process.program(), u"first"_s);
    EXPECT_EQ(tools.calls(), QStringList{u"first "_s});
    process.kill();
    process.waitForFinished(-1);
}

TEST_F(ChildProcessTest, SecondToolIsStartedOnAnObjectWhoseFirstHasEnded)
{
    tools.add(u"first"_s, "exit 1\n");
    tools.add(u"second"_s);
    runTool(process, u"first"_s, {});

    EXPECT_EQ(runTool(process, u"second"_s, {}), ToolEnd::Succeeded);

    EXPECT_EQ(tools.calls(), (QStringList{u"first "_s, u"second "_s}));
}

TEST_F(ChildProcessTest, ToolMayWriteMoreThanAPipeHolds)
{
    tools.add(u"tool"_s, "head -c 5000000 /dev/zero\nhead -c 5000000 /dev/zero >&2\n");

    EXPECT_EQ(runTool(process, u"tool"_s, {}), ToolEnd::Succeeded);
    EXPECT_EQ(toolOutput(u"tool"_s, {}).size(), 5'000'000);
}

TEST_F(ChildProcessTest, OfMuchOutputTheBeginningCounts)
{
    tools.add(u"tool"_s, "echo begin\nhead -c 50000000 /dev/zero\n");

    const QByteArray output = toolOutput(u"tool"_s, {});

    EXPECT_EQ(output.size(), 16 * 1024 * 1024);
    EXPECT_TRUE(output.startsWith("begin\n"));
}

TEST_F(ChildProcessTest, WhatAFailingToolHasPrintedCounts)
{
    tools.add(u"tool"_s, "echo half\nexit 1\n");

    EXPECT_EQ(toolOutput(u"tool"_s, {}), "half\n");
    EXPECT_EQ(toolOutput(u"no-such-tool"_s, {}), "");
}

TEST_F(ChildProcessTest, StandardInputIsEmpty)
{
    tools.add(u"tool"_s, "cat\necho end\n");

    EXPECT_EQ(toolOutput(u"tool"_s, {}), "end\n");
}

TEST_F(ChildProcessTest, MissingToolLeavesNoDescriptorBehind)
{
    const auto open = [] { return QDir(u"/proc/self/fd"_s).count(); };
    const Messages messages;
    const auto before = open();

    for (int i = 0; i < 100; ++i) {
        QProcess another;
        runTool(another, u"no-such-tool"_s, {});
        EXPECT_EQ(toolOutput(u"/no/such/tool"_s, {}), "");
    }

    EXPECT_EQ(open(), before);
}

TEST_F(ChildProcessTest, DamagedToolFailsAndLeavesNoDescriptorBehind)
{
    const auto open = [] { return QDir(u"/proc/self/fd"_s).count(); };
    const QTemporaryDir directory;
    const QString damaged = directory.filePath(u"tool"_s);
    writeFile(damaged, "\x7f"
                       "ELF, but no more");
    QFile::setPermissions(damaged, QFile::ReadOwner | QFile::ExeOwner);
    const Messages messages;
    const auto before = open();

    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(runTool(process, damaged, {}), ToolEnd::Failed);

    EXPECT_EQ(open(), before);
}

TEST_F(ChildProcessTest, MoreThanAProgramCanBeHandedIsAFailureThatLeavesNoDescriptorBehind)
{
    const auto open = [] { return QDir(u"/proc/self/fd"_s).count(); };
    const Messages messages;
    tools.add(u"tool"_s);
    const QStringList oneTooLong{QString(131072, u'x')};
    const QStringList tooMany(1'000'000, u"x"_s);
    const auto before = open();

    for (const QStringList &arguments : {oneTooLong, tooMany}) {
        EXPECT_EQ(runTool(process, u"tool"_s, arguments), ToolEnd::Failed);
        EXPECT_EQ(messages.texts().last(), u"tool ended with status 126"_s);
    }

    EXPECT_EQ(open(), before);
    EXPECT_TRUE(tools.calls().isEmpty());
}

TEST_F(ChildProcessTest, LongestArgumentIsHandedOver)
{
    tools.add(u"tool"_s, "printf %s \"${#1}\"\n");

    EXPECT_EQ(toolOutput(u"tool"_s, {QString(131071, u'x')}), "131071");
}

TEST_F(ChildProcessTest, WithoutALimitTheToolIsWaitedFor)
{
    tools.add(u"tool"_s, "sleep 0.3\necho end\n");

    EXPECT_EQ(toolOutput(u"tool"_s, {}, noLimitMs), "end\n");
}

TEST_F(ChildProcessTest, ToolForWhichNothingElseIsSaidHasHalfAMinute)
{
    tools.add(u"tool"_s, "sleep 0.3\n");
    const Messages messages;
    const Impatience impatience;

    EXPECT_EQ(runTool(process, u"tool"_s, {}), ToolEnd::StillRunning);

    EXPECT_EQ(impatience.longestLimit(), 30);
    process.waitForFinished(noLimitMs);
}

TEST_F(ChildProcessTest, ToolInheritsOnlyTheThreeStandardStreams)
{
    const QTemporaryDir directory;
    writeFile(directory.filePath(u"file"_s), "content");
    QFile file;
    ASSERT_TRUE(openRegularFile(file, directory.filePath(u"file"_s), QIODevice::ReadOnly));
    ASSERT_TRUE(QDBusConnection::systemBus().isConnected());
    const QFileSystemWatcher watcher({directory.path()});
    ASSERT_EQ(watcher.directories(), QStringList{directory.path()});
    const QString tellOwn = u"n=0; while [ $n -lt 256 ]; do [ -e /proc/$$/fd/$n ] && echo $n; n=$((n + 1)); done"_s;

    EXPECT_EQ(toolOutput(u"/bin/sh"_s, {u"-c"_s, tellOwn}).simplified(), "0 1 2");
}

TEST_F(ChildProcessTest, EachFailureLeavesALineThatNamesToolAndCause)
{
    const struct
    {
        QByteArray script;
        QString line;
        int limitMs = toolTimeoutMs;
    } rows[] = {{"exit 3\n", u"tool ended with status 3"_s},
                {"kill -KILL $$\n", u"tool was ended by signal 9"_s},
                {"exec sleep 600\n", u"tool is still running"_s, soonMs}};
    for (const auto &row : rows) {
        tools.add(u"tool"_s, row.script);
        const Messages messages;
        QProcess another;

        runTool(another, u"tool"_s, {}, row.limitMs);

        EXPECT_EQ(messages.texts().value(0), row.line);
    }

    const Messages messages;
    runTool(process, u"no-such-tool"_s, {});
    EXPECT_EQ(messages.texts(), QStringList{u"no-such-tool can't be started"_s});
}

TEST_F(ChildProcessTest, SuccessLeavesNoLine)
{
    tools.add(u"tool"_s);
    const Messages messages;

    EXPECT_EQ(runTool(process, u"tool"_s, {}), ToolEnd::Succeeded);

    EXPECT_EQ(messages.texts(), QStringList());
}

TEST(FileArgumentTest, NameThatBeginsLikeAnOptionGetsADirectory)
{
    EXPECT_EQ(asFileArgument(u"-x"_s), u"./-x"_s);
    EXPECT_EQ(asFileArgument(u"-"_s), u"./-"_s);
    for (const QString &name : {u"a-x"_s, u"/-x"_s, u"./-x"_s, u""_s})
        EXPECT_EQ(asFileArgument(name), name);
}

TEST(ForToolsTest, FilesAndWhatIsMissingAre)
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);

    EXPECT_TRUE(isForTools(path));
    EXPECT_TRUE(isForTools(u""_s));
    writeFile(path, "");
    EXPECT_TRUE(isForTools(path));
    ASSERT_TRUE(QFile::link(path, path + u".link"_s));
    EXPECT_TRUE(isForTools(path + u".link"_s));
}

TEST(ForToolsTest, WhatTheyWouldWaitForIsNot)
{
    const QTemporaryDir directory;
    const QString fifo = directory.filePath(u"fifo"_s);
    ASSERT_EQ(::mkfifo(qPrintable(fifo), 0600), 0);

    for (const QString &path : {fifo, u"/dev/zero"_s, u"/run/dbus/system_bus_socket"_s, directory.path()})
        EXPECT_FALSE(isForTools(path)) << qPrintable(path);
}

} // namespace
