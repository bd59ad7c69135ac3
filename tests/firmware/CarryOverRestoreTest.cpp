// What the first start after an update brings back.

#include "firmware/CarryOverRestoreFixture.h"
#include "support/FileEvents.h"
#include "support/Impatience.h"
#include "support/Messages.h"
#include "support/Syncs.h"

using namespace Qt::StringLiterals;

namespace {

class CarryOverRestoreTest : public CarryOverRestoreFixture
{
};

TEST_F(CarryOverRestoreTest, FilesComeBackAndTheStoreIsEmptied)
{
    fillStore();
    setPermissions(storePath(u"ssh_host_rsa_key"_s), 0600);
    setPermissions(storePath(u"ssh_host_rsa_key.pub"_s), 0644);

    construct();

    expectLive("stored");
    EXPECT_EQ(permissions(livePath(u"ssh_host_rsa_key"_s)), 0600U);
    EXPECT_EQ(permissions(livePath(u"ssh_host_rsa_key.pub"_s)), 0644U);
    EXPECT_TRUE(QDir(store).exists());
    EXPECT_EQ(storeEntries(), QStringList());
    EXPECT_TRUE(manager->getUpdateFailed());
    EXPECT_TRUE(manager->getFwUpdated());
    EXPECT_FALSE(manager->getFactoryInit());
    EXPECT_FALSE(fileExists(envFile(u"update"_s)));

    // Had the marker's store stayed, it would bring the marker back.
    manager->saveEnv();
    EXPECT_EQ(storeEntries(), QStringList());
}

TEST_F(CarryOverRestoreTest, FilesComeBackInOrderAndThenGoInOrder)
{
    fillStore();
    const QStringList restored{u"hostname"_s,
                               u"ssh_host_dsa_key"_s,
                               u"ssh_host_dsa_key.pub"_s,
                               u"ssh_host_rsa_key"_s,
                               u"ssh_host_rsa_key.pub"_s,
                               u"interfaces"_s,
                               u"syslog.conf"_s,
                               u"variables"_s,
                               u"guiLevel1"_s,
                               u"guiLevel2"_s,
                               u"guiLevel3"_s,
                               u"guiSystem"_s};
    const QStringList removed{u"hostname"_s,
                              u"ssh_host_dsa_key"_s,
                              u"ssh_host_dsa_key.pub"_s,
                              u"ssh_host_rsa_key"_s,
                              u"ssh_host_rsa_key.pub"_s,
                              u"interfaces"_s,
                              u"update"_s,
                              u"syslog.conf"_s,
                              u"guiLevel1"_s,
                              u"guiLevel2"_s,
                              u"guiLevel3"_s,
                              u"guiSystem"_s,
                              u"variables"_s};
    FileEvents events({store, u"/etc"_s, u"/etc/ssh"_s, u"/etc/network"_s});

    construct();

    EXPECT_EQ(events.paths(u"write"_s), livePaths(restored));
    EXPECT_EQ(events.paths(u"remove"_s), storePaths(removed));
    // The marker is read first, and no file goes before the last one has come back.
    EXPECT_EQ(events.paths(u"open"_s).filter(store).first(), storePath(u"update"_s));
    EXPECT_EQ(events.firstAfterLast(u"remove"_s, u"write"_s), storePath(u"hostname"_s));
}

TEST_F(CarryOverRestoreTest, WhatCameBackIsSyncedWhenTheStoreIsEmpty)
{
    fillStore();
    QList<bool> isDone;
    {
        const LookAtSyncs look([&] {
            isDone += storeEntries().isEmpty() && readFile(livePath(u"guiSystem"_s)) == "stored guiSystem" &&
                      QDir(u"/srv/codesys/visu"_s).exists();
        });
        ASSERT_TRUE(QDir().mkdir(u"/srv/codesys"_s));

        construct();
    }

    EXPECT_EQ(isDone, QList<bool>{true});
}

TEST_F(CarryOverRestoreTest, PublicFilesAreLinkedHoweverLongItTakes)
{
    fillStore();
    writeFile(u"/srv/fwupdate/fwupdate3/public/a"_s, "public");
    ASSERT_TRUE(QDir().mkdir(u"/srv/public"_s));
    tools.add(u"cp"_s, "sleep 0.3; exec /bin/cp \"$@\"\n");
    const Impatience impatience;

    construct();

    EXPECT_EQ(readFile(u"/srv/public/a"_s), "public");
}

TEST_F(CarryOverRestoreTest, WithoutTheMarkerTheStoreStays)
{
    fillStore();
    removeAll(storePath(u"update"_s));

    construct();

    expectLive("live");
    EXPECT_EQ(storeEntries().size(), 12);
    EXPECT_FALSE(manager->getUpdateFailed());
    EXPECT_FALSE(manager->getFwUpdated());
}

TEST_F(CarryOverRestoreTest, WithoutAStoreNothingHappens)
{
    construct();

    expectLive("live");
    EXPECT_FALSE(fileExists(store));
    EXPECT_FALSE(manager->getUpdateFailed());
    EXPECT_FALSE(manager->getFwUpdated());
}

TEST_F(CarryOverRestoreTest, FileInTheStoresPlaceIsNoStore)
{
    writeFile(store, "update");

    construct();

    EXPECT_FALSE(manager->getUpdateFailed());
    EXPECT_EQ(readFile(store), "update");
}

TEST_F(CarryOverRestoreTest, HappensOnce)
{
    fillStore();
    construct();
    manager.reset();
    writeFile(livePath(u"hostname"_s), "changed since");

    construct();

    EXPECT_EQ(readFile(livePath(u"hostname"_s)), "changed since");
    EXPECT_FALSE(manager->getUpdateFailed());
    EXPECT_FALSE(manager->getFwUpdated());
}

TEST_F(CarryOverRestoreTest, FilesThatTheStoreLacksStayAsTheyAre)
{
    ASSERT_TRUE(QDir().mkpath(store));
    writeFile(storePath(u"update"_s), "");
    writeFile(storePath(u"guiLevel3"_s), "stored guiLevel3");
    writeFile(storePath(u"other"_s), "other");

    construct();

    EXPECT_EQ(readFile(livePath(u"guiLevel3"_s)), "stored guiLevel3");
    EXPECT_EQ(readFile(livePath(u"guiLevel2"_s)), "live guiLevel2");
    EXPECT_EQ(storeEntries(), QStringList{u"other"_s});
}

TEST_F(CarryOverRestoreTest, LiveFileThatIsMissingIsMadeAndItsDirectoryIsNot)
{
    fillStore();
    removeAll(livePath(u"hostname"_s));
    removeAll(u"/etc/ssh"_s);

    construct();

    EXPECT_EQ(readFile(livePath(u"hostname"_s)), "stored hostname");
    EXPECT_FALSE(fileExists(u"/etc/ssh"_s));
    EXPECT_EQ(readFile(livePath(u"guiSystem"_s)), "stored guiSystem");
    EXPECT_EQ(storeEntries(), QStringList());
}

TEST_F(CarryOverRestoreTest, FifosHoldNobodyUp)
{
    fillStore();
    for (const QString &path : {storePath(u"update"_s), storePath(u"guiLevel1"_s), livePath(u"guiLevel2"_s)}) {
        removeAll(path);
        makeFifo(path);
    }
    const Messages messages;

    construct();

    EXPECT_TRUE(manager->getUpdateFailed());
    EXPECT_TRUE(messages.texts().contains(u"no nand update"_s));
    EXPECT_EQ(readFile(livePath(u"guiLevel1"_s)), "live guiLevel1");
    EXPECT_EQ(readFile(livePath(u"guiSystem"_s)), "stored guiSystem");
    EXPECT_EQ(storeEntries(), QStringList());
    removeAll(livePath(u"guiLevel2"_s));
}

TEST_F(CarryOverRestoreTest, FirstStartIsUpdatedAlsoWithoutAStore)
{
    writeFile(u"/new_firmware"_s, "");

    construct();

    EXPECT_TRUE(manager->getFwUpdated());
    EXPECT_FALSE(manager->getUpdateFailed());
    removeAll(u"/new_firmware"_s);
}

TEST_F(CarryOverRestoreTest, SavedSettingsComeBackAsTheyWere)
{
    ASSERT_TRUE(QDir().mkpath(u"/srv/fwupdate/fwupdate3"_s));
    construct();
    manager->startUpdateNand(u"fwupdate3"_s);
    manager.reset();
    for (const CarriedFile &file : files)
        writeFile(file.livePath, "of the new firmware");

    construct();

    expectLive("live");
    EXPECT_TRUE(manager->getUpdateFailed());
    EXPECT_EQ(storeEntries(), QStringList());
    EXPECT_TRUE(fileExists(envFile(u"update"_s))); // which is for the boot stage to remove
}

/** The public files of the firmware. */
class CarryOverPublicTest : public CarryOverRestoreFixture
{
protected:
    void SetUp() override
    {
        for (const QString &name : {target + u"sub"_s, source + u"sub"_s, source + u"new"_s})
            ASSERT_TRUE(QDir().mkpath(name));
    }

    QStringList links() const { return tools.calls().filter(u"cp -dnRl"_s); }

    static ino_t inode(const QString &path)
    {
        struct stat status
        {
        };
        EXPECT_EQ(::lstat(qPrintable(path), &status), 0) << qPrintable(path);
        return status.st_ino;
    }

    const QString source = u"/srv/fwupdate/fwupdate3/public/"_s;
    const QString target = u"/srv/public/"_s;
};

TEST_F(CarryOverPublicTest, AreLinkedAndNotCopied)
{
    writeFile(source + u"a b"_s, "a");
    writeFile(source + u"sub/b"_s, "b");
    writeFile(source + u"new/c"_s, "c");
    ASSERT_TRUE(QFile::link(u"nowhere"_s, source + u"link"_s));
    fillStore();

    construct();

    for (const QString &name : {u"a b"_s, u"sub/b"_s, u"new/c"_s})
        EXPECT_EQ(inode(target + name), inode(source + name)) << qPrintable(name);
    EXPECT_EQ(QFile::symLinkTarget(target + u"link"_s), u"/srv/public/nowhere"_s);
    expectLive("stored");
}

TEST_F(CarryOverPublicTest, DoNotOverwriteWhatIsThere)
{
    writeFile(source + u"a"_s, "new");
    writeFile(source + u"sub/b"_s, "new");
    writeFile(source + u"sub/c"_s, "new");
    writeFile(target + u"a"_s, "old");
    writeFile(target + u"sub/b"_s, "old");
    fillStore();

    construct();

    EXPECT_EQ(readFile(target + u"a"_s), "old");
    EXPECT_EQ(readFile(target + u"sub/b"_s), "old");
    EXPECT_EQ(readFile(target + u"sub/c"_s), "new");
}

TEST_F(CarryOverPublicTest, OfANameThatSaysSomethingToAShellAreNotLinked)
{
    tools.add(u"touch"_s, "/bin/touch /srv/public/made\n");
    for (const QString &name : {u"$(touch)"_s, u"a;touch"_s, u"`touch`"_s, u"a b"_s, u"a*"_s, u"gr\u00fcn"_s}) {
        ASSERT_TRUE(QDir().mkpath(u"/srv/fwupdate/"_s + name + u"/public/sub"_s));
        fillStore("NAND_UPDATE=" + name.toUtf8() + '\n');

        construct();

        EXPECT_EQ(links(), QStringList()) << qPrintable(name);
        EXPECT_FALSE(fileExists(target + u"made"_s)) << qPrintable(name);
        expectLive("stored");
        manager.reset();
        removeAll(u"/srv/fwupdate/"_s + name);
    }
}

TEST_F(CarryOverPublicTest, ThatAreMissingStopNothing)
{
    removeAll(u"/srv/fwupdate/fwupdate3/public"_s);
    fillStore();
    tools.add(u"cp"_s, "exit 1\n");

    construct();

    EXPECT_EQ(links(), QStringList{u"cp -dnRl /srv/fwupdate/fwupdate3/public/* /srv/public"_s});
    expectLive("stored");
    EXPECT_TRUE(manager->getFwUpdated());
}

TEST_F(CarryOverPublicTest, ComeBeforeTheSettings)
{
    writeFile(source + u"a"_s, "a");
    fillStore();
    tools.add(u"cp"_s, "cat /etc/hostname >/srv/public/seen\n");

    construct();

    EXPECT_EQ(readFile(target + u"seen"_s), "live hostname");
}

TEST_F(CarryOverPublicTest, AreLeftOutWhenNoFirmwareIsNamed)
{
    for (const char *update : {"", "NAND_UPDATE=\n", "OTHER=fwupdate3\n", "NAND_UPDATE fwupdate3\n"}) {
        fillStore(update);
        tools.add(u"cp"_s);
        const Messages messages;

        construct();

        EXPECT_EQ(messages.texts().count(u"no nand update"_s), 1);
        EXPECT_EQ(links(), QStringList());
        expectLive("stored");
        EXPECT_EQ(storeEntries(), QStringList());
        manager.reset();
    }
}

} // namespace
