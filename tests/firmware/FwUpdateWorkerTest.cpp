#include "firmware/FwUpdateWorker.h"

#include "FirmwareOnDisk.h"

#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

class FwUpdateWorkerTest : public testing::Test
{
protected:
    FwUpdateWorkerTest() { removeAll(firmwareDirectories); }
    ~FwUpdateWorkerTest() override { removeAll(firmwareDirectories); }

    static void put(const QString &name) { putFirmware(firmwareDirectories + name); }

    /** The names of the directories that were found, in order. */
    QStringList foundNames() const
    {
        QStringList names;
        for (const QVariantList &arguments : found)
            names.append(arguments.at(0).toString());
        return names;
    }

    /** The number that the last walk ended with. */
    int doneWith() const { return done.isEmpty() ? -1 : done.last().at(0).toInt(); }

    FwUpdateWorker worker;
    QSignalSpy found{&worker, &FwUpdateWorker::found};
    QSignalSpy done{&worker, &FwUpdateWorker::done};
};

TEST_F(FwUpdateWorkerTest, WithoutDirectoriesNothingIsFound)
{
    worker.doWork();

    EXPECT_TRUE(found.isEmpty());
    EXPECT_EQ(doneWith(), 0);
}

TEST_F(FwUpdateWorkerTest, DirectoryWithoutAnyFirmwareIsNoFirmwareItself)
{
    ASSERT_TRUE(QDir().mkpath(firmwareDirectories));

    worker.doWork();

    EXPECT_TRUE(found.isEmpty());
    EXPECT_EQ(doneWith(), 0);
}

TEST_F(FwUpdateWorkerTest, CompleteFirmwareIsToldWithItsControlFile)
{
    put(u"fwupdate3"_s);

    worker.doWork();

    ASSERT_EQ(foundNames(), QStringList{u"/srv/fwupdate/fwupdate3"_s});
    const auto control = found.first().at(1).value<FirmwareControl>();
    EXPECT_EQ(control.version, u"4.3"_s);
    EXPECT_EQ(control.releasename, u"Harvest"_s);
    EXPECT_EQ(control.minUpdaterVer, u"3"_s);
    EXPECT_EQ(doneWith(), 4);
}

TEST_F(FwUpdateWorkerTest, IncompleteFirmwareOnlyTakesItsNumber)
{
    put(u"fwupdate1"_s);
    put(u"fwupdate7"_s);
    removeAll(firmwareDirectories + u"fwupdate7/control"_s);

    worker.doWork();

    EXPECT_EQ(foundNames(), QStringList{u"/srv/fwupdate/fwupdate1"_s});
    EXPECT_EQ(doneWith(), 8);
    EXPECT_TRUE(QDir(firmwareDirectories + u"fwupdate7"_s).exists());
}

TEST_F(FwUpdateWorkerTest, DirectoryOfAnotherNameCountsAsNumberZero)
{
    put(u"beta"_s);

    worker.doWork();

    EXPECT_EQ(foundNames(), QStringList{u"/srv/fwupdate/beta"_s});
    EXPECT_EQ(doneWith(), 1);
}

TEST_F(FwUpdateWorkerTest, LeftoverOfAnIntakeIsRemoved)
{
    put(u"firmware"_s);

    worker.doWork();

    EXPECT_TRUE(found.isEmpty());
    EXPECT_FALSE(QDir(firmwareDirectories + u"firmware"_s).exists());
    EXPECT_EQ(doneWith(), 0);
}

TEST_F(FwUpdateWorkerTest, HiddenDirectoryIsNoFirmware)
{
    put(u".fwupdate5"_s);
    put(u".firmware"_s);

    worker.doWork();

    EXPECT_TRUE(found.isEmpty());
    EXPECT_TRUE(QDir(firmwareDirectories + u".firmware"_s).exists());
    EXPECT_EQ(doneWith(), 0);
}

TEST_F(FwUpdateWorkerTest, LeftoverIsRemovedHoweverLongItTakes)
{
    put(u"firmware"_s);
    FakeTools tools;
    tools.add(u"rm"_s, "sleep 0.3; exec /bin/rm \"$@\"\n");
    const Impatience impatience;

    worker.doWork();

    EXPECT_FALSE(QDir(firmwareDirectories + u"firmware"_s).exists());
}

TEST_F(FwUpdateWorkerTest, SumsAreNotTested)
{
    put(u"fwupdate0"_s);
    writeFile(firmwareDirectories + u"fwupdate0/root.ubi"_s, "damaged");

    worker.doWork();

    EXPECT_EQ(found.size(), 1);
}

TEST_F(FwUpdateWorkerTest, SecondWalkTellsAllAgainInTheOrderOfTheDirectory)
{
    put(u"fwupdate2"_s);
    worker.doWork();
    EXPECT_EQ(doneWith(), 3);
    found.clear();
    put(u"fwupdate0"_s);
    put(u"fwupdate1"_s);

    worker.doWork();

    QStringList paths;
    for (const QString &name :
         QDir(firmwareDirectories).entryList(QDir::AllDirs | QDir::NoDotAndDotDot, QDir::Unsorted))
        paths.append(firmwareDirectories + name);
    EXPECT_EQ(paths.size(), 3);
    EXPECT_EQ(foundNames(), paths);
    EXPECT_EQ(doneWith(), 3);
}

} // namespace
