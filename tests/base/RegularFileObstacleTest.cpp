// What may stand in a file's place, and what opening it does then.

#include "base/RegularFile.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

using namespace Qt::StringLiterals;

namespace {

QStringList openDescriptors()
{
    return QDir(u"/proc/self/fd"_s).entryList(QDir::Files | QDir::System, QDir::Name);
}

void makeFifo(const QString &path)
{
    ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0);
}

void makeSocket(const QString &path)
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, qPrintable(path), sizeof address.sun_path);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ::close(descriptor);
}

void makeDevice(const QString &path)
{
    ASSERT_EQ(::mknod(qPrintable(path), S_IFCHR | 0600, makedev(1, 5)), 0); // as /dev/zero, which never ends
}

void linkTo(const QString &target, const QString &path)
{
    ASSERT_TRUE(QFile::link(target, path));
}

mode_t kindOf(const QString &path)
{
    struct stat status
    {
    };
    return ::stat(qPrintable(path), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

/** Something that is no regular file, and how it gets to be where one is expected. */
struct Obstacle
{
    const char *name;
    void (*put)(const QString &path);
};

class ObstacleTest : public testing::TestWithParam<Obstacle>
{
protected:
    void SetUp() override
    {
        GetParam().put(path);
        kind = kindOf(path);
        ASSERT_FALSE(HasFatalFailure());
        descriptors = openDescriptors();
    }

    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
    mode_t kind = 0;
    QStringList descriptors;
};

TEST_P(ObstacleTest, CannotBeRead)
{
    EXPECT_EQ(readRegularFile(path), std::nullopt);
    EXPECT_EQ(readValueFile(path), std::nullopt);

    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_P(ObstacleTest, CannotBeWrittenAndStaysInPlace)
{
    EXPECT_FALSE(writeRegularFile(path, "content"));

    EXPECT_EQ(kindOf(path), kind);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_P(ObstacleTest, CannotBeOpenedForBoth)
{
    QFile file;

    EXPECT_FALSE(openRegularFile(file, path, QIODevice::ReadWrite));

    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(openDescriptors(), descriptors);
}

INSTANTIATE_TEST_SUITE_P(Obstacles, ObstacleTest,
                         testing::Values(Obstacle{"Directory",
                                                  [](const QString &path) { ASSERT_TRUE(QDir().mkdir(path)); }},
                                         Obstacle{"FifoWithoutPeer", makeFifo}, Obstacle{"Socket", makeSocket},
                                         Obstacle{"EndlessDevice", makeDevice},
                                         Obstacle{"LinkToFifo",
                                                  [](const QString &path) {
                                                      makeFifo(path + u".fifo"_s);
                                                      linkTo(path + u".fifo"_s, path);
                                                  }},
                                         Obstacle{"LinkToItself", [](const QString &path) { linkTo(path, path); }}),
                         [](const auto &row) { return std::string(row.param.name); });

class RegularFileObstacleTest : public testing::Test
{
protected:
    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
};

TEST_F(RegularFileObstacleTest, FifoWithAWriterIsNotReadFrom)
{
    makeFifo(path);
    const int peer = ::open(qPrintable(path), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_EQ(::write(peer, "abc", 3), 3);

    EXPECT_EQ(readRegularFile(path), std::nullopt);

    std::array<char, 8> left{};
    EXPECT_EQ(::read(peer, left.data(), left.size()), 3);
    ::close(peer);
}

TEST_F(RegularFileObstacleTest, FifoWithAReaderGetsNothing)
{
    makeFifo(path);
    const int peer = ::open(qPrintable(path), O_RDWR | O_NONBLOCK | O_CLOEXEC);

    EXPECT_FALSE(writeRegularFile(path, "abc"));

    std::array<char, 8> received{};
    EXPECT_EQ(::read(peer, received.data(), received.size()), -1);
    EXPECT_EQ(errno, EAGAIN);
    ::close(peer);
}

TEST_F(RegularFileObstacleTest, PathsThatNameNoFileCannotBeOpened)
{
    writeFile(path, "content");
    const QStringList paths{
        QString(),
        u""_s,
        directory.filePath(u"missing/file"_s),
        path + u"/below"_s,
        path + QChar::Null,
        path + QChar::Null + u"tail"_s,
        directory.filePath(QString(300, u'x')),
        u"/"_s,
        u"."_s,
    };

    for (const QString &bad : paths) {
        EXPECT_EQ(readRegularFile(bad), std::nullopt) << qPrintable(bad);
        EXPECT_FALSE(writeRegularFile(bad, "other")) << qPrintable(bad);
    }
    EXPECT_EQ(readFile(path), "content");
}

TEST_F(RegularFileObstacleTest, MissingFileIsNotReadButWritten)
{
    EXPECT_EQ(readRegularFile(path), std::nullopt);
    EXPECT_FALSE(fileExists(path));

    EXPECT_TRUE(writeRegularFile(path, "content"));
    EXPECT_EQ(readFile(path), "content");
}

TEST_F(RegularFileObstacleTest, LinkToAFileIsFollowed)
{
    writeFile(directory.filePath(u"target"_s), "old");
    linkTo(directory.filePath(u"target"_s), path);

    EXPECT_EQ(readRegularFile(path), "old");
    EXPECT_TRUE(writeRegularFile(path, "new"));

    EXPECT_EQ(readFile(directory.filePath(u"target"_s)), "new");
}

TEST_F(RegularFileObstacleTest, OpeningForBothCreatesTheFile)
{
    QFile file;

    ASSERT_TRUE(openRegularFile(file, path, QIODevice::ReadWrite));

    EXPECT_EQ(file.readAll(), "");
    EXPECT_TRUE(fileExists(path));
}

TEST_F(RegularFileObstacleTest, OpeningForBothDoesNotTruncate)
{
    writeFile(path, "content");

    QFile file;
    ASSERT_TRUE(openRegularFile(file, path, QIODevice::ReadWrite));
    EXPECT_EQ(file.read(3), "con");
    file.write("TENT");
    file.close();

    EXPECT_EQ(readFile(path), "conTENT");
}

TEST_F(RegularFileObstacleTest, DescriptorIsClosedOnExec)
{
    for (const auto mode : {QIODevice::WriteOnly, QIODevice::ReadOnly, QIODevice::ReadWrite}) {
        QFile file;

        ASSERT_TRUE(openRegularFile(file, path, mode));

        EXPECT_TRUE(::fcntl(file.handle(), F_GETFD) & FD_CLOEXEC);
    }
}

TEST(RegularFileReadTest, FileThatFailsHalfWayIsNotRead)
{
    // Opened like any other, but there is no memory at address 0.
    EXPECT_EQ(readRegularFile(u"/proc/self/mem"_s), std::nullopt);
    EXPECT_EQ(readValueFile(u"/proc/self/mem"_s), std::nullopt);
}

TEST(RegularFileReadTest, FileThatHidesItsSizeIsReadNoFurtherThanAnyOther)
{
    EXPECT_EQ(readRegularFile(u"/proc/self/pagemap"_s), std::nullopt);
}

} // namespace
