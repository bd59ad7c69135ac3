// What an update saves of the device before its reboot.

#include "firmware/CarryOverTest.h"
#include "plc/FakePlcRuntime.h"
#include "support/FileEvents.h"
#include "support/Syncs.h"

#include <sys/mount.h>

using namespace Qt::StringLiterals;

namespace {

class CarryOverSaveTest : public CarryOverTest
{
protected:
    CarryOverSaveTest()
    {
        EXPECT_TRUE(QDir().mkpath(u"/srv/fwupdate/fwupdate3"_s));
        start();
        clearPlatformCalls();
    }

    void update() { manager->startUpdateNand(u"fwupdate3"_s); }
};

TEST_F(CarryOverSaveTest, FilesAreCopiedUnderTheirOwnNames)
{
    update();

    for (const CarriedFile &file : files)
        EXPECT_EQ(readFile(storePath(file.name)), "live " + file.name.toUtf8());
    EXPECT_EQ(readFile(storePath(u"update"_s)), "#!/bin/sh\nNAND_UPDATE=fwupdate3\n");
    EXPECT_EQ(QDir(store).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 13);
}

TEST_F(CarryOverSaveTest, FilesAreCopiedInOrder)
{
    ASSERT_TRUE(QDir().mkdir(store));
    const QStringList order{u"update"_s,
                            u"hostname"_s,
                            u"interfaces"_s,
                            u"ssh_host_dsa_key"_s,
                            u"ssh_host_dsa_key.pub"_s,
                            u"ssh_host_rsa_key"_s,
                            u"ssh_host_rsa_key.pub"_s,
                            u"syslog.conf"_s,
                            u"guiLevel1"_s,
                            u"guiLevel2"_s,
                            u"guiLevel3"_s,
                            u"guiSystem"_s,
                            u"variables"_s};
    FileEvents events({store});

    update();

    EXPECT_EQ(events.paths(u"write"_s), storePaths(order));
}

TEST_F(CarryOverSaveTest, CopyComesAfterTheFlashAndBeforeTheReboot)
{
    tools.add(u"bareboxenv"_s, "test -e /srv/nodekeep && echo early >>/srv/codesys\n");
    bool saved = false;
    bool listed = false;
    QStringList toolsAtTheEvent{u"not told"_s};
    const FakePlcRuntime runtime({u"One"_s});
    ASSERT_TRUE(QDir().mkdir(u"/srv/codesys"_s));
    onPlatformCall([&](const PlatformCall &call) {
        if (call.name == u"SystemEvent.firmwareUpdate"_s)
            toolsAtTheEvent = tools.calls();
        if (call.name == u"SystemEvent.reboot"_s) {
            saved = fileExists(storePath(u"variables"_s));
            listed = fileExists(u"/srv/codesys/qmz.cfg"_s);
        }
    });

    update();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage, u"shutdown -r now"_s}));
    EXPECT_TRUE(saved);
    EXPECT_TRUE(listed);
    EXPECT_EQ(toolsAtTheEvent, QStringList());
    EXPECT_TRUE(QDir(u"/srv/codesys"_s).exists());
}

TEST_F(CarryOverSaveTest, CopiesAndListAreSyncedAheadOfTheReboot)
{
    ASSERT_TRUE(QDir().mkdir(u"/srv/codesys"_s));
    const FakePlcRuntime runtime({u"One"_s});
    QStringList kept;
    {
        const LookAtSyncs look([&] {
            const bool isSaved = QFileInfo(storePath(u"variables"_s)).size() > 0;
            const bool isListed = QFileInfo(u"/srv/codesys/qmz.cfg"_s).size() > 0;
            const bool isOnItsWay = platformCallTexts().contains(u"Upstart.stop(\"dorlanserver\", false)"_s);
            kept += isOnItsWay ? u"rebooting"_s : isSaved && isListed ? u"all"_s : isSaved ? u"files"_s : u"none"_s;
        });

        update();
    }

    // The boot environment's two files come first, then the list and the whole; the last one is the reboot's.
    EXPECT_EQ(kept.filter(u"all"_s).size(), 2);
    EXPECT_EQ(kept.filter(u"rebooting"_s).size(), 1);
    EXPECT_EQ(kept.last(3), (QStringList{u"all"_s, u"all"_s, u"rebooting"_s}));
}

TEST_F(CarryOverSaveTest, StoreOfAnEarlierUpdateIsOverwrittenWhereThereIsASource)
{
    ASSERT_TRUE(QDir().mkdir(store));
    writeFile(storePath(u"hostname"_s), QByteArray(10'000, 'x'));
    writeFile(storePath(u"syslog.conf"_s), "stale");
    writeFile(storePath(u"other"_s), "other");
    removeAll(livePath(u"syslog.conf"_s));

    update();

    EXPECT_EQ(readFile(storePath(u"hostname"_s)), "live hostname");
    EXPECT_EQ(readFile(storePath(u"syslog.conf"_s)), "stale");
    EXPECT_EQ(readFile(storePath(u"other"_s)), "other");
}

TEST_F(CarryOverSaveTest, FileThatTheDeviceLacksIsMissingFromTheStore)
{
    removeAll(livePath(u"ssh_host_dsa_key"_s));

    update();

    EXPECT_FALSE(fileExists(storePath(u"ssh_host_dsa_key"_s)));
    EXPECT_TRUE(fileExists(storePath(u"variables"_s)));
}

TEST_F(CarryOverSaveTest, PermissionsAreThoseOfTheSource)
{
    ASSERT_TRUE(QDir().mkdir(store));
    writeFile(storePath(u"ssh_host_rsa_key"_s), "old");
    setPermissions(storePath(u"ssh_host_rsa_key"_s), 0666);
    const QList<std::pair<QString, mode_t>> modes{{u"ssh_host_rsa_key"_s, 0600}, {u"ssh_host_dsa_key"_s, 0400},
                                                  {u"guiLevel1"_s, 0644},        {u"guiLevel2"_s, 0},
                                                  {u"guiLevel3"_s, 0777},        {u"interfaces"_s, 0664}};
    for (const auto &[name, mode] : modes)
        setPermissions(livePath(name), mode);

    update();

    for (const auto &[name, mode] : modes)
        EXPECT_EQ(permissions(storePath(name)), mode) << qPrintable(name);
}

struct Content
{
    const char *name;
    QByteArray content;
};

class CarryOverContentTest : public CarryOverSaveTest, public testing::WithParamInterface<Content>
{
};

TEST_P(CarryOverContentTest, IsCopiedByteForByte)
{
    writeFile(livePath(u"syslog.conf"_s), GetParam().content);

    update();

    EXPECT_TRUE(readFile(storePath(u"syslog.conf"_s)) == GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(Contents, CarryOverContentTest,
                         testing::Values(Content{"Empty", ""}, Content{"NulAndBytes", QByteArray("\0\xff\r\n\0", 5)},
                                         Content{"OneBlock", QByteArray(4096, 'b')},
                                         Content{"OneBlockAndAByte", QByteArray(4097, 'b')},
                                         Content{"TenMegabytes", QByteArray("0123456789").repeated(1'000'000)}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(CarryOverSaveTest, SourceThatIsNoFileIsPassedByAndNotWaitedFor)
{
    ASSERT_TRUE(QDir().mkdir(store));
    writeFile(storePath(u"hostname"_s), "stale");
    setPermissions(storePath(u"hostname"_s), 0604);
    removeAll(livePath(u"hostname"_s));
    makeFifo(livePath(u"hostname"_s));
    removeAll(livePath(u"interfaces"_s));
    ASSERT_TRUE(QDir().mkdir(livePath(u"interfaces"_s)));

    update();

    EXPECT_EQ(readFile(storePath(u"hostname"_s)), "stale");
    EXPECT_EQ(permissions(storePath(u"hostname"_s)), 0604U);
    EXPECT_FALSE(fileExists(storePath(u"interfaces"_s)));
    removeAll(livePath(u"hostname"_s));
    removeAll(livePath(u"interfaces"_s));
}

TEST_F(CarryOverSaveTest, DestinationThatIsNoFileGetsThePermissionsAlone)
{
    ASSERT_TRUE(QDir().mkpath(storePath(u"interfaces"_s)));
    makeFifo(storePath(u"hostname"_s));
    setPermissions(livePath(u"hostname"_s), 0640);
    setPermissions(livePath(u"interfaces"_s), 0604);

    update();

    EXPECT_EQ(permissions(storePath(u"hostname"_s)), 0640U);
    EXPECT_EQ(permissions(storePath(u"interfaces"_s)), 0604U);
    EXPECT_EQ(readFile(storePath(u"variables"_s)), "live variables");
}

TEST_F(CarryOverSaveTest, FileInTheStoresPlaceStaysAndTheDeviceReboots)
{
    writeFile(store, "no directory");

    update();

    EXPECT_EQ(readFile(store), "no directory");
    EXPECT_EQ(tools.calls().last(), u"shutdown -r now"_s);
}

TEST_F(CarryOverSaveTest, WithoutADataPartitionTheDeviceRebootsAllTheSame)
{
    const QTemporaryDir elsewhere;
    ASSERT_EQ(::mount("/srv", qPrintable(elsewhere.path()), nullptr, MS_BIND, nullptr), 0);
    ASSERT_TRUE(waitUntil([] { return ::umount("/srv") == 0; })); // not while the scan goes on
    ASSERT_TRUE(QDir().rmdir(u"/srv"_s));

    manager->startUpdateNand(u"/tmp"_s);

    EXPECT_FALSE(fileExists(u"/srv"_s));
    EXPECT_EQ(tools.calls().last(), u"shutdown -r now"_s);
    EXPECT_TRUE(platformCallTexts().contains(u"SystemEvent.reboot(\"/\")"_s));
    ASSERT_TRUE(QDir().mkdir(u"/srv"_s));
    ASSERT_EQ(::mount(qPrintable(elsewhere.path()), "/srv", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(::umount(qPrintable(elsewhere.path())), 0);
}

TEST_F(CarryOverSaveTest, UnknownFirmwareSavesNothing)
{
    manager->startUpdateNand(u"fwupdate4"_s);

    EXPECT_FALSE(fileExists(store));
    EXPECT_EQ(tools.calls(), QStringList());
}

/** The PLC's list of applications, next to the store. */
class CarryOverPlcListTest : public CarryOverSaveTest
{
protected:
    CarryOverPlcListTest() { EXPECT_TRUE(QDir().mkdir(u"/srv/codesys"_s)); }

    const QString list = u"/srv/codesys/qmz.cfg"_s;
};

TEST_F(CarryOverPlcListTest, HoldsTheVersionAsANumberAndTheApplications)
{
    const FakePlcRuntime runtime({u"One"_s, u"Füllstand"_s}, u"35"_s);

    update();

    EXPECT_EQ(readFile(list), "35\nOne\nF\xc3\xbcllstand\n");
    EXPECT_EQ(runtime.calls(), (QStringList{u"com.ozt.codesys.apps()"_s, u"com.ozt.codesys.version()"_s}));
}

TEST_F(CarryOverPlcListTest, VersionThatIsNoNumberIsZero)
{
    const FakePlcRuntime runtime({u"One"_s}, u"3.5.14.10"_s);

    update();

    EXPECT_EQ(readFile(list), "0\nOne\n");
}

TEST_F(CarryOverPlcListTest, EndOfALongerListStays)
{
    writeFile(list, "35\nOne\nTwo\nThree\n");
    const FakePlcRuntime runtime({u"1"_s}, 36);

    update();

    EXPECT_EQ(readFile(list), "36\n1\ne\nTwo\nThree\n");
}

TEST_F(CarryOverPlcListTest, StaysWithoutTheRuntime)
{
    writeFile(list, "35\nOne\n");

    update();

    EXPECT_EQ(readFile(list), "35\nOne\n");
    EXPECT_EQ(tools.calls().last(), u"shutdown -r now"_s);
}

TEST_F(CarryOverPlcListTest, StaysWhenTheRuntimeFailsOrLies)
{
    writeFile(list, "35\nOne\n");
    FakePlcRuntime runtime({u"Two"_s}, 36);
    runtime.fail(u"version"_s);

    update();
    EXPECT_EQ(readFile(list), "35\nOne\n");

    runtime.answer(u"version"_s, {QVariantMap()});
    update();
    EXPECT_EQ(readFile(list), "35\nOne\n");

    runtime.answer(u"version"_s, {36});
    update();
    EXPECT_EQ(readFile(list), "36\nTwo\n");
}

TEST_F(CarryOverPlcListTest, ListThatCanNotBeOpenedHoldsNobodyUp)
{
    makeFifo(list);
    const FakePlcRuntime runtime({u"One"_s});

    update();

    EXPECT_EQ(tools.calls().last(), u"shutdown -r now"_s);
}

} // namespace
