// A file that can't be read or written: the store goes on without it, and nobody waits.

#include "bootenv/BareboxConfig.h"

#include "support/BindMount.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

using namespace Qt::StringLiterals;

namespace {

class BareboxConfigObstacleTest : public testing::Test
{
protected:
    BareboxConfig makeConfig() const { return {nullptr, directory.path(), u"file"_s}; }

    void makeFifo() const { ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0); }

    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
};

TEST_F(BareboxConfigObstacleTest, MissingFileMakesAnEmptyStoreAndNoFile)
{
    const BareboxConfig config = makeConfig();

    EXPECT_EQ(config.variableList(), QStringList());
    EXPECT_EQ(config.getAll(), QVariantMap());
    EXPECT_FALSE(fileExists(path));
}

TEST_F(BareboxConfigObstacleTest, NewFileBeginsAsAScript)
{
    BareboxConfig config = makeConfig();

    config.save();
    EXPECT_EQ(readFile(path), "#!/bin/sh\n");
    config.syncSet(u"a"_s, u"1"_s);

    EXPECT_EQ(readFile(path), "#!/bin/sh\na=1\n");
}

TEST_F(BareboxConfigObstacleTest, EmptyFileIsNoNewFile)
{
    writeFile(path, "");

    makeConfig().syncSet(u"a"_s, u"1"_s);

    EXPECT_EQ(readFile(path), "a=1\n");
}

TEST_F(BareboxConfigObstacleTest, DirectoryInTheFilesPlaceReadsAsAMissingFile)
{
    ASSERT_TRUE(QDir().mkdir(path));
    BareboxConfig config = makeConfig();
    EXPECT_EQ(config.variableList(), QStringList());
    removeAll(path);

    config.save();

    EXPECT_EQ(readFile(path), "#!/bin/sh\n");
}

TEST_F(BareboxConfigObstacleTest, DirectoryInTheFilesPlaceSurvivesASave)
{
    writeFile(path, "a=1\n");
    BareboxConfig config = makeConfig();
    removeAll(path);
    writeFile(path + u"/inside"_s, "kept");

    config.syncSet(u"a"_s, u"2"_s);

    EXPECT_EQ(readFile(path + u"/inside"_s), "kept");
    EXPECT_EQ(config.get(u"a"_s), u"2"_s);
}

TEST_F(BareboxConfigObstacleTest, FifoInTheFilesPlaceIsNotWaitedFor)
{
    makeFifo();

    BareboxConfig config = makeConfig();
    config.syncSet(u"a"_s, u"1"_s);

    EXPECT_EQ(config.variableList(), QStringList{u"a"_s});
}

TEST_F(BareboxConfigObstacleTest, ReaderOfAFifoInTheFilesPlaceGetsNothing)
{
    makeFifo();
    const int reader = ::open(qPrintable(path), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    BareboxConfig config = makeConfig();

    config.syncSet(u"a"_s, u"1"_s);

    std::array<char, 8> received{};
    EXPECT_EQ(::read(reader, received.data(), received.size()), 0);
    ::close(reader);
}

TEST_F(BareboxConfigObstacleTest, MissingDirectoryIsNotMade)
{
    BareboxConfig config(nullptr, directory.filePath(u"missing"_s), u"file"_s);

    config.syncSet(u"a"_s, u"1"_s);

    EXPECT_FALSE(fileExists(directory.filePath(u"missing"_s)));
    EXPECT_EQ(config.get(u"a"_s), u"1"_s);
}

TEST_F(BareboxConfigObstacleTest, FileOnAReadOnlyFileSystemStaysAsItWas)
{
    writeFile(path, "a=1\n");
    const BindMount readOnly(directory.path(), directory.path(), MS_RDONLY);
    BareboxConfig config = makeConfig();

    config.syncSet(u"a"_s, u"2"_s);

    EXPECT_EQ(readFile(path), "a=1\n");
    EXPECT_EQ(config.get(u"a"_s), u"2"_s);
}

TEST_F(BareboxConfigObstacleTest, FullDiskLeavesAStoreThatGoesOn)
{
    const QByteArray place = QFile::encodeName(directory.path());
    ASSERT_EQ(::mount("small", place, "tmpfs", 0, "size=16k"), 0);
    BareboxConfig config = makeConfig();

    config.syncSet(u"a"_s, QString(1'000'000, u'x'));
    config.syncSet(u"a"_s, u"1"_s);

    EXPECT_EQ(readFile(path), "#!/bin/sh\na=1\n");
    EXPECT_EQ(::umount(place), 0);
}

TEST_F(BareboxConfigObstacleTest, DirectoryMayBeGivenWithOrWithoutASlash)
{
    BareboxConfig(nullptr, directory.path() + u'/', u"file"_s).syncSet(u"a"_s, u"1"_s);

    const BareboxConfig config = makeConfig();

    EXPECT_EQ(config.get(u"a"_s), u"1"_s);
}

} // namespace
