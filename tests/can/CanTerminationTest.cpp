// The node of the termination, and what may stand in its place.

#include "can/CanFixture.h"

#include "support/QtPrinting.h"

#include <QFile>

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class CanTerminationTest : public CanFixture
{
protected:
    CanTerminationTest() { start(); }

    QByteArray storedState() const { return readFile(storePath).split('\n').value(2); }

    QByteArray node() const { return QFile::encodeName(nodePath); }
};

TEST_F(CanTerminationTest, SwitchIsAByteOfValueZeroOrOne)
{
    can->setTermination(true);
    EXPECT_EQ(readFile(nodePath), QByteArray(1, '\1'));
    EXPECT_EQ(storedState(), "TERMINATION=1");

    can->setTermination(false);
    EXPECT_EQ(readFile(nodePath), QByteArray(1, '\0'));
    EXPECT_EQ(storedState(), "TERMINATION=0");
}

TEST_F(CanTerminationTest, SwitchingLeavesThePortRunning)
{
    can->setTermination(true);

    EXPECT_EQ(tools.calls(), QStringList());
}

struct NodeContent
{
    const char *name;
    QByteArray content;
    bool on;
};

class CanTerminationContentTest : public CanTerminationTest, public testing::WithParamInterface<NodeContent>
{
};

TEST_P(CanTerminationContentTest, IsOnWhereTheFirstCharacterIsADigitOne)
{
    writeFile(nodePath, GetParam().content);

    EXPECT_EQ(can->getCanTerm(), GetParam().on);

    EXPECT_EQ(readFile(nodePath), GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(Contents, CanTerminationContentTest,
                         testing::Values(NodeContent{"One", "1", true}, NodeContent{"OneAndLineEnd", "1\n", true},
                                         NodeContent{"Zero", "0", false}, NodeContent{"ZeroAndLineEnd", "0\n", false},
                                         NodeContent{"Nothing", "", false}, NodeContent{"ByteOfValueOne", "\1", false},
                                         NodeContent{"BlankFirst", " 1", false}, NodeContent{"ZeroAndOne", "01", false},
                                         NodeContent{"MoreBehind", "10", true},
                                         NodeContent{"Long", QByteArray(1'000'000, '1'), true}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(CanTerminationTest, WhatWasSwitchedIsNotReadBackFromAPlainFile)
{
    can->setTermination(true);

    EXPECT_FALSE(can->getCanTerm());
}

TEST_F(CanTerminationTest, WithoutNodeTheStateIsStoredAndNoNodeMade)
{
    removeAll(nodePath);

    can->setTermination(true);

    EXPECT_EQ(storedState(), "TERMINATION=1");
    EXPECT_FALSE(fileExists(nodePath));
    EXPECT_FALSE(can->getCanTerm());
}

TEST_F(CanTerminationTest, CharacterDeviceGetsAndGivesItsBytes)
{
    const int device = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(device, 0);
    ASSERT_EQ(::unlockpt(device), 0);
    removeAll(nodePath);
    ASSERT_EQ(::symlink(::ptsname(device), node().constData()), 0);
    // Held open, and told to pass bytes on as they are.
    const int terminal = ::open(node().constData(), O_RDWR | O_NOCTTY);
    termios settings{};
    ASSERT_EQ(::tcgetattr(terminal, &settings), 0);
    ::cfmakeraw(&settings);
    ASSERT_EQ(::tcsetattr(terminal, TCSANOW, &settings), 0);

    can->setTermination(true);
    std::array<char, 8> bytes{};
    EXPECT_EQ(::read(device, bytes.data(), bytes.size()), 1);
    EXPECT_EQ(bytes[0], '\1');

    EXPECT_FALSE(can->getCanTerm()) << "there is nothing to read, which must not be waited for";
    ASSERT_EQ(::write(device, "1\n", 2), 2);
    EXPECT_TRUE(can->getCanTerm());
    ::close(terminal);
    ::close(device);
}

TEST_F(CanTerminationTest, FifoHoldsNobodyUp)
{
    removeAll(nodePath);
    ASSERT_EQ(::mkfifo(node().constData(), 0666), 0);

    can->setTermination(true);
    EXPECT_FALSE(can->getCanTerm());

    const int other = ::open(node().constData(), O_RDWR);
    EXPECT_FALSE(can->getCanTerm());
    ::close(other);
    EXPECT_EQ(storedState(), "TERMINATION=1");
}

TEST_F(CanTerminationTest, DirectoryIsNoNode)
{
    removeAll(nodePath);
    ASSERT_TRUE(QDir().mkpath(nodePath));

    can->setTermination(true);

    EXPECT_FALSE(can->getCanTerm());
    EXPECT_EQ(storedState(), "TERMINATION=1");
}

TEST_F(CanTerminationTest, SocketIsNoNode)
{
    removeAll(nodePath);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/canterm"};
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);

    can->setTermination(true);

    EXPECT_FALSE(can->getCanTerm());
    EXPECT_EQ(storedState(), "TERMINATION=1");
    ::close(listener);
}

TEST_F(CanTerminationTest, FullDeviceIsNotReported)
{
    removeAll(nodePath);
    ASSERT_EQ(::symlink("/dev/full", node().constData()), 0);

    can->setTermination(true);

    EXPECT_EQ(storedState(), "TERMINATION=1");
    EXPECT_FALSE(can->getCanTerm());
}

} // namespace
