#include "core/CrashBacktrace.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QByteArray>
#include <QRegularExpression>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace Qt::StringLiterals;

namespace {

// The sanitizer's own backtrace() shows up as the innermost frame, and moves the others down.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qsizetype sanitizerFrames = 1;
#else
constexpr qsizetype sanitizerFrames = 0;
#endif

struct Ending
{
    int waitStatus = -1;
    QByteArray output;
};

/** Runs `code` in a process of its own, and reads what it writes to its standard output. */
Ending runApart(const std::function<void()> &code)
{
    std::fflush(nullptr);
    std::array<int, 2> channel{};
    EXPECT_EQ(::pipe(channel.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(channel[1], STDOUT_FILENO);
        ::close(channel[0]);
        ::close(channel[1]);
#if defined(__SANITIZE_ADDRESS__)
        __lsan_disable(); // the frames' texts are left to the end of the process
#endif
        code();
        ::_exit(99);
    }
    ::close(channel[1]);
    Ending ending;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = ::read(channel[0], buffer.data(), buffer.size())) > 0;)
        ending.output.append(buffer.data(), count);
    ::close(channel[0]);
    EXPECT_EQ(::waitpid(child, &ending.waitStatus, 0), child);
    return ending;
}

// Through a pointer, so that the compiler does not see that no call returns.
void (*volatile handler)(int) = crashBacktraceHandler;

void callDeeper(int depth) // NOLINT(misc-no-recursion): a deep stack is what it is for
{
    if (depth == 0)
        handler(6);
    else
        callDeeper(depth - 1);
    std::fputs("not reached\n", stdout); // keeps the calls above from becoming jumps
}

[[gnu::noinline]] void callFromHere()
{
    crashBacktraceHandler(6);
}

QStringList frameLines(const Ending &ending)
{
    return QString::fromLocal8Bit(ending.output).split(u'\n').mid(2);
}

TEST(CrashBacktraceTest, EndsTheProcessWithStatusZero)
{
    const Ending ending = runApart([] { crashBacktraceHandler(11); });

    EXPECT_TRUE(WIFEXITED(ending.waitStatus));
    EXPECT_EQ(WEXITSTATUS(ending.waitStatus), 0);
}

TEST(CrashBacktraceTest, PrintsTheSignalAndAHeading)
{
    const Ending ending = runApart([] { crashBacktraceHandler(-7); });

    EXPECT_TRUE(ending.output.startsWith("Got signal -7\n[bt] Execution path:\n[bt] #1 ")) << ending.output.constData();
    EXPECT_TRUE(ending.output.endsWith("]\n"));
}

TEST(CrashBacktraceTest, NumbersTheFramesFromOne)
{
    const Ending ending = runApart([] { crashBacktraceHandler(11); });

    QStringList lines = frameLines(ending);
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.takeLast(), u""_s);
    for (int frame = 1; frame <= lines.size(); ++frame) {
        const QRegularExpression form(
            QRegularExpression::anchoredPattern(uR"(\[bt\] #%1 \S+\(.*\) \[0x[0-9a-f]+\])"_s.arg(frame)));
        EXPECT_TRUE(form.match(lines[frame - 1]).hasMatch()) << qPrintable(lines[frame - 1]);
    }
}

TEST(CrashBacktraceTest, BeginsWithTheCallerOfTheHandler)
{
    const Ending ending = runApart(callFromHere);

    const QString line = frameLines(ending).value(sanitizerFrames);
    const auto address = line.sliced(line.indexOf(u"[0x"_s) + 3).chopped(1).toULongLong(nullptr, 16);
    const auto caller = reinterpret_cast<quintptr>(&callFromHere);
    EXPECT_GT(address, caller);
    EXPECT_LT(address, caller + 1000);
}

TEST(CrashBacktraceTest, StopsAfterFifteenFramesOfADeepStack)
{
    const Ending ending = runApart([] { callDeeper(100); });

    const QStringList lines = frameLines(ending);
    ASSERT_EQ(lines.size(), 16);
    EXPECT_TRUE(lines[14].startsWith(u"[bt] #15 "_s)) << qPrintable(lines[14]);
    EXPECT_EQ(lines[15], u""_s);
}

TEST(CrashBacktraceTest, WorksAsASignalHandler)
{
    const Ending ending = runApart([] {
        std::signal(SIGUSR1, crashBacktraceHandler);
        std::raise(SIGUSR1);
    });

    EXPECT_EQ(ending.waitStatus, 0);
    EXPECT_TRUE(ending.output.startsWith("Got signal 10\n")) << ending.output.constData();
}

} // namespace
