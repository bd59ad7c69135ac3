// Reading and changing the host name while one of the files behind it can't be read or written.

#include "system/Hostname.h"

#include "HostnameFixture.h"

#include "support/BindMount.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/Syncs.h"

#include <gmock/gmock.h>

#include <QDir>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

class HostnameFilesTest : public HostnameFixture
{
protected:
    void SetUp() override
    {
        writeFile(cover, "");
        ASSERT_EQ(::mkfifo(qPrintable(fifo), 0600), 0);
        start();
    }

    const QString cover = directory.filePath(u"cover"_s);
    const QString fifo = directory.filePath(u"fifo"_s);
    Messages messages;
};

TEST_F(HostnameFilesTest, AbsentKernelFileReadsAsTheDefaultNameAndIsNotRemembered)
{
    {
        const BindMount absent(directory.path(), kernelDirectory, MS_RDONLY);

        EXPECT_EQ(hostname->getHostname(), u"qmz"_s);
    }
    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
    EXPECT_EQ(hostname->getHostname(), u"node-1"_s);
}

TEST_F(HostnameFilesTest, FifoInTheKernelFilesPlaceIsNotWaitedFor)
{
    const BindMount unreadable(fifo, kernelPath);

    EXPECT_EQ(hostname->getHostname(), u"qmz"_s);
    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(readFile(storedPath), "node-2\n");
}

TEST_F(HostnameFilesTest, EmptyKernelFileReadsAsTheEmptyName)
{
    const BindMount empty(cover, kernelPath);

    EXPECT_EQ(hostname->getHostname(), u""_s);

    EXPECT_EQ(hostname->lastKnown(), u""_s);
}

TEST_F(HostnameFilesTest, KernelFileIsTrimmedAndCutAtNul)
{
    writeFile(cover, QByteArray(" \tnode-9\0tail \n", 15));
    const BindMount odd(cover, kernelPath);

    EXPECT_EQ(hostname->getHostname(), u"node-9"_s);
}

TEST_F(HostnameFilesTest, KernelGetsTheNameThoughItCannotBeStored)
{
    removeAll(storedPath);
    writeFile(storedPath + u"/inside"_s, "kept");

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(readFile(kernelPath), "node-2\n");
    EXPECT_EQ(readFile(storedPath + u"/inside"_s), "kept");
    EXPECT_EQ(hostname->lastKnown(), u"node-2"_s);
}

TEST_F(HostnameFilesTest, StoredFileIsMadeWhereItIsMissing)
{
    removeAll(storedPath);

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(readFile(storedPath), "node-2\n");
}

TEST_F(HostnameFilesTest, StoredNameIsSyncedOnce)
{
    const int before = syncsSoFar();

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(syncsSoFar(), before + 1);
}

TEST_F(HostnameFilesTest, StoredNameIsSyncedBeforeTheKernelGetsIt)
{
    QByteArrayList stored;
    QByteArrayList kernels;
    {
        const LookAtSyncs look([&] {
            stored += readFile(storedPath);
            kernels += readFile(kernelPath);
        });

        hostname->setHostname(u"node-2"_s);
    }

    EXPECT_THAT(stored, ElementsAre("node-2\n"));
    EXPECT_THAT(kernels, ElementsAre("node-1\n"));
    EXPECT_EQ(readFile(kernelPath), "node-2\n");
}

TEST_F(HostnameFilesTest, NameThatFindsAFullDiskIsSyncedAllTheSame)
{
    const QString disk = directory.filePath(u"disk"_s);
    ASSERT_TRUE(QDir().mkdir(disk));
    ASSERT_EQ(::mount("small", qPrintable(disk), "tmpfs", 0, "size=4k"), 0);
    writeFile(disk + u"/all"_s, QByteArray(4096, 'x'));
    writeFile(disk + u"/hostname"_s, {});
    const int before = syncsSoFar();
    {
        const BindMount full(disk + u"/hostname"_s, storedPath);

        hostname->setHostname(u"node-2"_s);

        EXPECT_EQ(readFile(storedPath), "");
    }
    EXPECT_EQ(syncsSoFar(), before + 1);
    EXPECT_EQ(readFile(kernelPath), "node-2\n");
    EXPECT_EQ(::umount(qPrintable(disk)), 0);
}

TEST_F(HostnameFilesTest, NameThatCannotBeStoredIsNotSynced)
{
    const BindMount readOnly(storedPath, storedPath, MS_RDONLY);
    const int before = syncsSoFar();

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(syncsSoFar(), before);
    EXPECT_EQ(readFile(kernelPath), "node-2\n");
}

TEST_F(HostnameFilesTest, NameIsStoredThoughTheKernelFileCannotBeWritten)
{
    const BindMount readOnly(kernelPath, kernelPath, MS_RDONLY);

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(readFile(storedPath), "node-2\n");
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(hostname->lastKnown(), u"node-2"_s);
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(HostnameFilesTest, BothFilesUnwritableStillChangeTheRememberedName)
{
    removeAll(storedPath);
    ASSERT_TRUE(QDir().mkdir(storedPath));
    const BindMount absent(directory.path(), kernelDirectory, MS_RDONLY);

    hostname->setHostname(u"node-2"_s);

    EXPECT_EQ(hostname->lastKnown(), u"node-2"_s);
    EXPECT_FALSE(fileExists(kernelPath));
}

TEST_F(HostnameFilesTest, ReportOfTheWatcherWithoutAKernelFileAnnouncesTheRememberedName)
{
    const BindMount absent(directory.path(), kernelDirectory, MS_RDONLY);

    hostname->hostnameChanged();

    EXPECT_THAT(platformCallTexts(),
                ElementsAre(u"Upstart.restartNameservices()"_s, u"SystemEvent.deviceNameChange(\"node-1\", \"/\")"_s));
}

} // namespace
