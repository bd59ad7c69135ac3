// The host name that the device has when its System comes up.

#include "system/SystemFixture.h"

#include "support/BindMount.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDir>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

struct StoredName
{
    const char *name;
    QByteArray content;
    QString expected;
};

class SystemStoredNameTest : public SystemFixture, public testing::WithParamInterface<StoredName>
{
};

TEST_P(SystemStoredNameTest, IsTakenAsItStandsAndNothingIsWritten)
{
    writeFile(storedPath, GetParam().content);

    start();

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), GetParam().content);
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(rememberedName(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Contents, SystemStoredNameTest,
                         testing::Values(StoredName{"Plain", "node-7", u"node-7"_s},
                                         StoredName{"LineFeed", "node-7\n", u"node-7"_s},
                                         StoredName{"WhiteSpace", " \tnode-7 \r\n\n", u"node-7"_s},
                                         StoredName{"CutAtNul", QByteArray("node-7\0tail\n", 12), u"node-7"_s},
                                         StoredName{"NulFirst", QByteArray("\0node-7", 7), u""_s},
                                         StoredName{"NoValidName", "not valid!\n", u"not valid!"_s},
                                         StoredName{"Empty", "", u""_s}, StoredName{"OnlyWhiteSpace", " \n\t\n", u""_s},
                                         StoredName{"Megabyte", QByteArray(1'000'000, 'x'), QString(1'000'000, u'x')}),
                         [](const auto &row) { return std::string(row.param.name); });

class SystemStartTest : public SystemFixture
{
};

TEST_F(SystemStartTest, MissingFileLeavesTheKernelsNameAndIsNotMade)
{
    removeAll(storedPath);

    start();

    EXPECT_FALSE(fileExists(storedPath));
    EXPECT_EQ(rememberedName(), u"node-1"_s);
}

TEST_F(SystemStartTest, DirectoryInTheFilesPlaceLeavesTheKernelsName)
{
    removeAll(storedPath);
    ASSERT_TRUE(QDir().mkdir(storedPath));

    start();

    EXPECT_EQ(rememberedName(), u"node-1"_s);
    EXPECT_TRUE(QDir(storedPath).exists());
}

TEST_F(SystemStartTest, FifoInTheFilesPlaceIsNotWaitedFor)
{
    removeAll(storedPath);
    ASSERT_EQ(::mkfifo(qPrintable(storedPath), 0600), 0);

    start();

    EXPECT_EQ(rememberedName(), u"node-1"_s);
}

TEST_F(SystemStartTest, DeviceWithoutAnyNameIsNamedByDefault)
{
    removeAll(storedPath);
    setKernelName("");

    start();

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(kernelPath), "qmz\n");
    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(rememberedName(), u"qmz"_s);
}

TEST_F(SystemStartTest, EmptyKernelFileGetsTheDefaultName)
{
    removeAll(storedPath);
    writeFile(directory.filePath(u"cover"_s), "");
    const BindMount cover(directory.filePath(u"cover"_s), kernelPath);

    start();

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(directory.filePath(u"cover"_s)), "qmz\n");
}

TEST_F(SystemStartTest, DefaultNameIsStoredThoughTheKernelsFileIsAbsent)
{
    removeAll(storedPath);
    {
        const BindMount cover(directory.path(), kernelDirectory, MS_RDONLY);
        start();
    }

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(rememberedName(), u"qmz"_s);
}

TEST_F(SystemStartTest, StoredNameNeedsNoKernelFile)
{
    const BindMount cover(directory.path(), kernelDirectory, MS_RDONLY);

    start();

    EXPECT_EQ(rememberedName(), u"node-1"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

} // namespace
