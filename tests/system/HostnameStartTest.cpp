// The host name that the device has at the start of the daemon.

#include "system/Hostname.h"

#include "HostnameFixture.h"

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

class StoredHostnameTest : public HostnameFixture, public testing::WithParamInterface<StoredName>
{
};

TEST_P(StoredHostnameTest, IsTakenAsItStandsAndNothingIsWritten)
{
    writeFile(storedPath, GetParam().content);

    start();

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), GetParam().content);
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(hostname->lastKnown(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Contents, StoredHostnameTest,
                         testing::Values(StoredName{"Plain", "node-7", u"node-7"_s},
                                         StoredName{"LineFeed", "node-7\n", u"node-7"_s},
                                         StoredName{"WhiteSpace", " \tnode-7 \r\n\n", u"node-7"_s},
                                         StoredName{"CutAtNul", QByteArray("node-7\0tail\n", 12), u"node-7"_s},
                                         StoredName{"NulFirst", QByteArray("\0node-7", 7), u""_s},
                                         StoredName{"NoValidName", "not valid!\n", u"not valid!"_s},
                                         StoredName{"Empty", "", u""_s}, StoredName{"OnlyWhiteSpace", " \n\t\n", u""_s},
                                         StoredName{"Megabyte", QByteArray(1'000'000, 'x'), QString(1'000'000, u'x')}),
                         [](const auto &row) { return std::string(row.param.name); });

class HostnameStartTest : public HostnameFixture
{
};

TEST_F(HostnameStartTest, MissingFileLeavesTheKernelsNameAndIsNotMade)
{
    removeAll(storedPath);

    start();

    EXPECT_FALSE(fileExists(storedPath));
    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
}

TEST_F(HostnameStartTest, DirectoryInTheFilesPlaceLeavesTheKernelsName)
{
    removeAll(storedPath);
    ASSERT_TRUE(QDir().mkdir(storedPath));

    start();

    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
    EXPECT_TRUE(QDir(storedPath).exists());
}

TEST_F(HostnameStartTest, FifoInTheFilesPlaceIsNotWaitedFor)
{
    removeAll(storedPath);
    ASSERT_EQ(::mkfifo(qPrintable(storedPath), 0600), 0);

    start();

    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
}

TEST_F(HostnameStartTest, DeviceWithoutAnyNameIsNamedByDefault)
{
    removeAll(storedPath);
    setKernelName("");

    start();

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(kernelPath), "qmz\n");
    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(hostname->lastKnown(), u"qmz"_s);
}

TEST_F(HostnameStartTest, EmptyKernelFileGetsTheDefaultName)
{
    removeAll(storedPath);
    writeFile(directory.filePath(u"cover"_s), "");
    const BindMount cover(directory.filePath(u"cover"_s), kernelPath);

    start();

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(directory.filePath(u"cover"_s)), "qmz\n");
}

TEST_F(HostnameStartTest, DefaultNameIsStoredThoughTheKernelsFileIsAbsent)
{
    removeAll(storedPath);
    {
        const BindMount cover(directory.path(), kernelDirectory, MS_RDONLY);
        start();
    }

    EXPECT_EQ(readFile(storedPath), "qmz\n");
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(hostname->lastKnown(), u"qmz"_s);
}

TEST_F(HostnameStartTest, StoredNameNeedsNoKernelFile)
{
    const BindMount cover(directory.path(), kernelDirectory, MS_RDONLY);

    start();

    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

} // namespace
