// A package's way to a record, with the device's own tar and md5sum. Nothing here starts an update.

#include "firmware/FirmwareIntake.h"

#include "FirmwareOnDisk.h"

#include "bootenv/BareboxConfig.h"
#include "bootenv/BootEnvironment.h"
#include "fake/FakePlatform.h"
#include "firmware/FirmwareRecords.h"
#include "firmware/NandUpdate.h"
#include "support/BindMount.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QList>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString stage(int number)
{
    return u"SystemEvent.firmwareUpdate(%1, \"/\")"_s.arg(number);
}

QString effect(int seconds, int number)
{
    return u"SysCfgAccess.startLedEffect(%1, %2)"_s.arg(seconds).arg(number);
}

const QString received = stage(1);
const QString unpacked = stage(2);
const QStringList taken{stage(3), stage(4)};
const QString atWork = effect(60, 5);
const QStringList failed{effect(10, 1), stage(0)};

class FirmwareIntakeTest : public testing::Test
{
protected:
    FirmwareIntakeTest()
    {
        removeAll(firmwareDirectories);
        QObject::connect(&intake, &FirmwareIntake::accepted, &parent,
                         [this](NandUpdate *record) { accepted.append(record); });
        environment.addConfig(mainConfig);
        putFirmware(directory.filePath(u"firmware"_s));
        resetFakePlatform();
    }
    ~FirmwareIntakeTest() override
    {
        records.clearNandUpdates();
        removeAll(firmwareDirectories);
    }

    /** Packs what lies ready. */
    void pack() { packFirmware(directory.path(), package); }
    void setControl(const QByteArray &text) { writeFile(directory.filePath(u"firmware/control"_s), text); }

    /** Takes the package in and waits until that has ended, well or not. */
    void takeIn()
    {
        intake.takeIn(package, u"update.qmz"_s);
        waitForTheEnd();
    }
    void waitForTheEnd()
    {
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return !accepted.isEmpty() || platformCallTexts().contains(failed.last()); }, 20000));
    }

    void expectRefused(const QStringList &story)
    {
        EXPECT_TRUE(accepted.isEmpty());
        EXPECT_EQ(platformCallTexts(), story);
        EXPECT_EQ(directories(), QStringList());
        EXPECT_EQ(records.jsonFwUpdates(), u"[]"_s);
        EXPECT_FALSE(fileExists(package));
    }

    static QStringList directories()
    {
        return QDir(firmwareDirectories).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    }

    const QTemporaryDir directory;
    const QString package = directory.filePath(u"upload-fwupdate"_s);
    QObject parent;
    BootEnvironment environment{&parent};
    FirmwareRecords records{&parent};
    FirmwareIntake intake{environment, records};
    QList<NandUpdate *> accepted;
};

TEST_F(FirmwareIntakeTest, PackageBecomesANumberedDirectoryAndARecord)
{
    pack();
    records.setFreeNr(7);

    takeIn();

    EXPECT_EQ(platformCallTexts(), QStringList({received, atWork, unpacked}) + taken);
    EXPECT_EQ(directories(), QStringList{u"fwupdate7"_s});
    EXPECT_EQ(readFile(firmwareDirectories + u"fwupdate7/root.ubi"_s), "image\n");
    ASSERT_EQ(accepted.size(), 1);
    const NandUpdate *const record = accepted.first();
    EXPECT_EQ(record->objectName(), u"fwupdate7"_s);
    EXPECT_EQ(record->releasename(), u"Harvest"_s);
    EXPECT_EQ(records.jsonFwUpdates(), u'[' + record->jsonObject() + u']');
    EXPECT_FALSE(fileExists(package));
}

TEST_F(FirmwareIntakeTest, PackageIsStillThereWhenTheLedTellsOfWork)
{
    pack();
    QList<bool> there;
    onPlatformCall([&](const PlatformCall &call) {
        if (call.name == u"SysCfgAccess.startLedEffect"_s)
            there += fileExists(package);
    });

    takeIn();

    onPlatformCall({});
    EXPECT_EQ(there, QList<bool>{true});
    EXPECT_FALSE(fileExists(package));
}

TEST_F(FirmwareIntakeTest, EachPackageHasItsNumber)
{
    for (int number = 0; number < 3; ++number) {
        pack();
        accepted.clear();

        takeIn();
    }

    EXPECT_EQ(directories(), (QStringList{u"fwupdate0"_s, u"fwupdate1"_s, u"fwupdate2"_s}));
}

TEST_F(FirmwareIntakeTest, PackageThatIsNoArchiveIsRefused)
{
    writeFile(package, "no archive");

    takeIn();

    expectRefused(QStringList{received, atWork} + failed);
}

TEST_F(FirmwareIntakeTest, PackageThatIsAFifoIsRefused)
{
    ASSERT_EQ(QProcess::execute(u"mkfifo"_s, {package}), 0);

    takeIn();

    expectRefused(QStringList{received, atWork} + failed);
}

TEST_F(FirmwareIntakeTest, PackageWithoutFirmwareIsRefused)
{
    ASSERT_TRUE(QDir(directory.path()).rename(u"firmware"_s, u"other"_s));
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"other"_s}), 0);

    takeIn();

    EXPECT_TRUE(accepted.isEmpty());
    EXPECT_EQ(platformCallTexts(), QStringList({received, atWork, unpacked}) + failed);
    EXPECT_EQ(directories(), QStringList());
}

TEST_F(FirmwareIntakeTest, VersionBelowTheFloorIsRefused)
{
    environment.setEnv(u"min_fwversion"_s, u"4.4"_s);
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, VersionsAreComparedAsNumbers)
{
    environment.setEnv(u"min_fwversion"_s, u"1.9"_s);
    setControl("VERSION=1.10\nMIN_UPDATER_VERSION=3\n");
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, UpdaterGenerationThatIsNoNumberOrTooHighIsRefused)
{
    for (const char *generation : {"", "MIN_UPDATER_VERSION=three\n", "MIN_UPDATER_VERSION=1000\n"}) {
        setControl(QByteArray("VERSION=4.3\n") + generation);
        pack();
        resetFakePlatform();

        takeIn();

        expectRefused(QStringList{received, atWork, unpacked} + failed);
    }
}

TEST_F(FirmwareIntakeTest, DamagedKernelIsRefused)
{
    writeFile(directory.filePath(u"firmware/linuximage"_s), "damaged");
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, DamagedRootImageIsRefusedOneStageLater)
{
    writeFile(directory.filePath(u"firmware/root.ubi"_s), "damaged");
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked, stage(3)} + failed);
}

TEST_F(FirmwareIntakeTest, LinkOfARefusedPackageLeadsTheNextOneNowhere)
{
    const QTemporaryDir outside(u"/srv/outside-XXXXXX"_s);
    const QString link = directory.filePath(u"a"_s);
    for (const QString &target : {outside.path(), u"../"_s + QDir(outside.path()).dirName()}) {
        ASSERT_TRUE(QFile::link(target, link));
        ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"a"_s}), 0);
        takeIn();
        ASSERT_TRUE(QFile::remove(link));
        writeFile(directory.filePath(u"a/hosts"_s), "evil");
        ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"a/hosts"_s}), 0);
        resetFakePlatform();

        takeIn();

        EXPECT_EQ(QDir(outside.path()).entryList(QDir::Files), QStringList());
        EXPECT_EQ(directories(), QStringList());
        removeAll(link);
        resetFakePlatform();
    }
}

TEST_F(FirmwareIntakeTest, LinkThatAnOldFirmwareHoldsIsNotFollowedEither)
{
    const QTemporaryDir outside(u"/srv/outside-XXXXXX"_s);
    ASSERT_TRUE(QDir().mkpath(firmwareDirectories + u"fwupdate3/sub"_s));
    ASSERT_TRUE(QFile::link(outside.path(), firmwareDirectories + u"fwupdate3/sub/out"_s));
    writeFile(directory.filePath(u"fwupdate3/sub/out/hosts"_s), "evil");
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"fwupdate3"_s}), 0);

    takeIn();

    EXPECT_EQ(QDir(outside.path()).entryList(QDir::Files), QStringList());
    EXPECT_EQ(readFile(firmwareDirectories + u"fwupdate3/sub/out/hosts"_s), "evil");
}

TEST_F(FirmwareIntakeTest, NameThatIsNoTextHidesNothing)
{
    const QTemporaryDir outside(u"/srv/outside-XXXXXX"_s);
    const QByteArray hidden = QFile::encodeName(directory.path()) + "/\xff";
    const QByteArray hiddenInside = QFile::encodeName(directory.path()) + "/firmware/\xff";
    for (const QByteArray &link : {hidden, hiddenInside})
        ASSERT_EQ(::symlink(QFile::encodeName(outside.path()).constData(), link.constData()), 0);
    const QString packed = outside.filePath(u"packed"_s);
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, packed, u"."_s}), 0);
    ASSERT_TRUE(QFile::rename(packed, package));

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
    EXPECT_EQ(::access(QByteArray(QFile::encodeName(firmwareDirectories) + "\xff").constData(), F_OK), -1);
    ASSERT_EQ(::unlink(hidden.constData()), 0);
    ASSERT_EQ(::unlink(hiddenInside.constData()), 0);
}

TEST_F(FirmwareIntakeTest, LinkThatLiesDeepIsSeenToo)
{
    QByteArray path = QFile::encodeName(directory.path()) + "/firmware";
    for (int level = 0; level < 1100; ++level)
        ASSERT_EQ(::mkdir((path += "/d").constData(), 0755), 0);
    ASSERT_EQ(::symlink("/etc", (path + "/out").constData()), 0);
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, WhatAPackageBringsBesideItsFirmwareGoesAndOthersStay)
{
    putFirmware(firmwareDirectories + u"fwupdate2"_s);
    writeFile(directory.filePath(u"stranger/file"_s), "x");
    writeFile(directory.filePath(u".hidden"_s), "x");
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"firmware"_s, u"stranger"_s,
                                           u".hidden"_s}),
              0);
    records.setFreeNr(3);

    takeIn();

    EXPECT_EQ(directories(), (QStringList{u"fwupdate2"_s, u"fwupdate3"_s}));
    EXPECT_FALSE(fileExists(firmwareDirectories + u".hidden"_s));
}

TEST_F(FirmwareIntakeTest, FirmwareThatReachesOutIsRefused)
{
    const QString file = directory.filePath(u"firmware/public/odd"_s);
    const QList<QStringList> makers{{u"ln"_s, u"-s"_s, u"/etc"_s},
                                    {u"ln"_s, u"-s"_s, u"../../x"_s},
                                    {u"ln"_s, u"-s"_s, u"a/../b"_s},
                                    {u"ln"_s, u"-s"_s, u"../control"_s},
                                    {u"mkfifo"_s},
                                    {u"install"_s, u"-m"_s, u"4755"_s, u"/bin/true"_s},
                                    {u"install"_s, u"-m"_s, u"2755"_s, u"/bin/true"_s}};
    ASSERT_TRUE(QDir().mkpath(directory.filePath(u"firmware/public"_s)));
    for (const QStringList &maker : makers) {
        ASSERT_EQ(QProcess::execute(maker.first(), maker.sliced(1) + QStringList{file}), 0);
        pack();
        resetFakePlatform();

        takeIn();

        expectRefused(QStringList{received, atWork, unpacked} + failed);
        ASSERT_TRUE(QFile::remove(file));
    }
}

TEST_F(FirmwareIntakeTest, ImageThatHidesItsSizeInAHoleIsRefusedUnread)
{
    QFile image(directory.filePath(u"firmware/root.ubi"_s));
    ASSERT_TRUE(image.resize(QStorageInfo(u"/srv"_s).bytesTotal() + 1)) << image.errorString().toStdString();
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czSf"_s, package, u"firmware"_s}), 0);

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, ControlFileThatIsALinkIsNotRead)
{
    ASSERT_TRUE(QFile::remove(directory.filePath(u"firmware/control"_s)));
    ASSERT_TRUE(QFile::link(u"/proc/self/pagemap"_s, directory.filePath(u"firmware/control"_s)));
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
}

TEST_F(FirmwareIntakeTest, FirmwareThatIsALinkIsRefused)
{
    ASSERT_TRUE(QDir(directory.path()).rename(u"firmware"_s, u"other"_s));
    ASSERT_TRUE(QFile::link(u"/etc"_s, directory.filePath(u"firmware"_s)));
    pack();

    takeIn();

    expectRefused(QStringList{received, atWork, unpacked} + failed);
    EXPECT_TRUE(fileExists(u"/etc/passwd"_s));
}

TEST_F(FirmwareIntakeTest, LinkInTheFirmwaresPlaceIsRefusedThoughItLeadsToAGoodOne)
{
    putFirmware(firmwareDirectories + u"fwupdate2"_s);
    ASSERT_TRUE(QDir(directory.path()).rename(u"firmware"_s, u"other"_s));
    ASSERT_EQ(::symlink("fwupdate2", qPrintable(directory.filePath(u"firmware"_s))), 0);
    pack();

    takeIn();

    EXPECT_TRUE(accepted.isEmpty());
    EXPECT_EQ(platformCallTexts(), QStringList({received, atWork, unpacked}) + failed);
    EXPECT_EQ(directories(), QStringList{u"fwupdate2"_s});
}

TEST_F(FirmwareIntakeTest, LinkAmongTheFirmwaresIsGoneBeforeAPackageIsUnpacked)
{
    const QTemporaryDir outside(u"/srv/outside-XXXXXX"_s);
    ASSERT_TRUE(QDir().mkpath(firmwareDirectories));
    ASSERT_TRUE(QFile::link(outside.path(), firmwareDirectories + u"firmware"_s));
    pack();

    takeIn();

    EXPECT_EQ(QDir(outside.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    EXPECT_EQ(directories(), QStringList{u"fwupdate0"_s});
}

TEST_F(FirmwareIntakeTest, LinksWithinAFirmwareAreTaken)
{
    writeFile(directory.filePath(u"firmware/public/docs/index.htm"_s), "<p>");
    ASSERT_EQ(::symlink("docs/index.htm", qPrintable(directory.filePath(u"firmware/public/index.htm"_s))), 0);
    pack();

    takeIn();

    EXPECT_EQ(accepted.size(), 1);
    EXPECT_EQ(readFile(firmwareDirectories + u"fwupdate0/public/index.htm"_s), "<p>");
}

TEST_F(FirmwareIntakeTest, HiddenLinksAndOddFilesCountAsWell)
{
    const QTemporaryDir outside(u"/srv/outside-XXXXXX"_s);
    const QString old = firmwareDirectories + u"fwupdate3/.sub"_s;
    ASSERT_TRUE(QDir().mkpath(firmwareDirectories + u"fwupdate3"_s) && QFile::link(outside.path(), old));
    ASSERT_EQ(QProcess::execute(u"mkfifo"_s, {directory.filePath(u"firmware/.odd"_s)}), 0);
    pack();

    takeIn();

    EXPECT_FALSE(QFileInfo(old).isSymLink());
    EXPECT_TRUE(accepted.isEmpty());
    EXPECT_EQ(platformCallTexts(), QStringList({received, atWork, unpacked}) + failed);
}

TEST_F(FirmwareIntakeTest, SlowToolsAreWaitedFor)
{
    FakeTools tools;
    for (const char *tool : {"rm", "mv", "md5sum"})
        tools.add(QString::fromLatin1(tool),
                  QByteArray("sleep 0.2; exec /bin/env PATH=/usr/bin ") + tool + " \"$@\"\n");
    writeFile(directory.filePath(u"stranger"_s), "x");
    ASSERT_EQ(
        QProcess::execute(u"tar"_s, {u"-C"_s, directory.path(), u"-czf"_s, package, u"firmware"_s, u"stranger"_s}), 0);
    const Impatience impatience;

    takeIn();

    EXPECT_EQ(accepted.size(), 1);
    EXPECT_EQ(directories(), QStringList{u"fwupdate0"_s});
    EXPECT_EQ(readFile(firmwareDirectories + u"fwupdate0/root.ubi"_s), "image\n");
}

TEST_F(FirmwareIntakeTest, RefusedFirmwareIsRemovedHoweverLongItTakes)
{
    FakeTools tools;
    tools.add(u"rm"_s, "sleep 0.3; exec /bin/rm \"$@\"\n");
    setControl("VERSION=4.3\n");
    pack();
    const Impatience impatience;

    takeIn();

    EXPECT_EQ(directories(), QStringList());
}

TEST_F(FirmwareIntakeTest, MissingTarIsAFailure)
{
    pack();
    FakeTools none;
    none.hideAllOthers();

    takeIn();

    expectRefused(QStringList{received, atWork} + failed);
}

TEST_F(FirmwareIntakeTest, TarThatGetsNoStreamsIsToldOnce)
{
    pack();
    const QString socket = directory.filePath(u"socket"_s);
    ASSERT_EQ(::mknod(qPrintable(socket), S_IFSOCK | 0600, 0), 0);
    const BindMount nothingToOpen(socket, u"/dev/null"_s);

    takeIn();

    expectRefused(QStringList{received, atWork} + failed);
}

TEST_F(FirmwareIntakeTest, DownloadIsTakenInWhenItHasCome)
{
    pack();
    FakeTools tools;
    tools.add(u"wget"_s, "exec cp " + QFile::encodeName(package) + " \"$2\"\n");

    intake.startUpdateHttp(u"http://somewhere/update.qmz"_s);
    waitForTheEnd();

    EXPECT_EQ(tools.calls(), QStringList{u"wget -O /tmp/fwupdate http://somewhere/update.qmz"_s});
    EXPECT_EQ(platformCallTexts(), QStringList({effect(60, 2), effect(60, 3), received, atWork, unpacked}) + taken);
    EXPECT_EQ(accepted.size(), 1);
    EXPECT_FALSE(fileExists(u"/tmp/fwupdate"_s));
}

TEST_F(FirmwareIntakeTest, FailedDownloadIsToldAndRemoved)
{
    FakeTools tools;
    tools.add(u"wget"_s, "echo half >\"$2\"\nexit 4\n");

    intake.startUpdateHttp(u"http://somewhere/update.qmz"_s);
    waitForTheEnd();

    EXPECT_EQ(platformCallTexts(), QStringList({effect(60, 2), effect(60, 3)}) + failed);
    EXPECT_FALSE(fileExists(u"/tmp/fwupdate"_s));
}

TEST_F(FirmwareIntakeTest, InvalidAddressIsOnlyShown)
{
    intake.startUpdateHttp(u"http://[nowhere"_s);

    EXPECT_EQ(platformCallTexts(), QStringList{effect(60, 2)});
    EXPECT_EQ(intake.findChildren<QProcess *>(), QList<QProcess *>());
}

} // namespace
