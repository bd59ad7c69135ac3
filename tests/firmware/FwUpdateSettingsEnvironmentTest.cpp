// The boot environment's way from the flash and back: which tools run, and what becomes of stores and files.

#include "firmware/BootEnvTest.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class FwUpdateSettingsEnvironmentTest : public BootEnvTest
{
protected:
    BareboxConfig *store(const QString &name) const { return manager->findChild<BareboxConfig *>(name); }
};

TEST_F(FwUpdateSettingsEnvironmentTest, StartWithoutTheDirectoryRemovesNothing)
{
    construct();

    EXPECT_EQ(tools.calls(), QStringList{fetch});
    EXPECT_TRUE(QDir(envPath).exists());
}

TEST_F(FwUpdateSettingsEnvironmentTest, StartDiscardsWhatTheDirectoryHeld)
{
    writeFile(envFile(u"leftover"_s), "a=1\n");
    writeFile(envFile(u"sub/leftover"_s), "a=1\n");

    construct();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_EQ(QDir(envPath).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    EXPECT_EQ(stores(), QStringList());
}

TEST_F(FwUpdateSettingsEnvironmentTest, StartMakesAStoreOfEachFileAndSelectsConfig)
{
    writeFile(flashFile(u"boot"_s), "id=boot\n");
    writeFile(flashFile(u"config"_s), "id=config\n");
    writeFile(flashFile(u"system"_s), "id=system\n");

    construct();

    EXPECT_EQ(stores(), (QStringList{u"boot"_s, u"config"_s, u"system"_s}));
    EXPECT_EQ(store(u"system"_s)->get(u"id"_s), u"system"_s);
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);
}

TEST_F(FwUpdateSettingsEnvironmentTest, OldContentVanishesThoughTheFetchFails)
{
    writeFile(envFile(u"config"_s), "a=old\n");
    tools.add(u"bareboxenv"_s, "exit 1\n");

    construct();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_FALSE(fileExists(envFile(u"config"_s)));
    EXPECT_EQ(stores(), QStringList());
    EXPECT_TRUE(manager->getEnv(u"a"_s).isNull());
}

TEST_F(FwUpdateSettingsEnvironmentTest, FetchThatFailsHalfWayLeavesWhatItUnpacked)
{
    tools.add(u"bareboxenv"_s, "echo a=1 >\"$2/config\"\nkill -KILL $$\n");

    construct();

    EXPECT_EQ(manager->getEnv(u"a"_s), u"1"_s);
}

TEST_F(FwUpdateSettingsEnvironmentTest, MissingToolsLeaveAllUnset)
{
    FakeTools none;
    none.hideAllOthers();

    construct();
    manager->addConfig(u"config"_s);
    manager->setIp(u"10.0.0.1"_s);
    manager->saveEnv();

    EXPECT_EQ(stores(), QStringList{u"config"_s});
    EXPECT_EQ(readFile(envFile(u"config"_s)), "#!/bin/sh\neth0.ipaddr=10.0.0.1\n");
}

TEST_F(FwUpdateSettingsEnvironmentTest, OnlyFilesBecomeStores)
{
    tools.add(u"bareboxenv"_s,
              "mkdir \"$2/sub\"\nmkfifo \"$2/fifo\"\necho a=1 >\"$2/sub/inner\"\necho a=1 >\"$2/file\"\n");

    construct();

    EXPECT_EQ(stores(), QStringList{u"file"_s});
}

TEST_F(FwUpdateSettingsEnvironmentTest, SaveWritesTheStoresBeforeItTouchesTheFlash)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    writeFile(flashFile(u"system"_s), "b=1\n");
    tools.add(u"flash_eraseall"_s, "cat " + envPath.toUtf8() + "* >" + flash() + "/seen-by-erasure\n");
    start();
    store(u"config"_s)->set(u"a"_s, u"2"_s);
    store(u"system"_s)->set(u"b"_s, u"2"_s);

    manager->saveEnv();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    EXPECT_EQ(readFile(flashFile(u"seen-by-erasure"_s)), "a=2\nb=2\n");
    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=2\n");
    EXPECT_EQ(readFile(flashFile(u"system"_s)), "b=2\n");
}

TEST_F(FwUpdateSettingsEnvironmentTest, SavingTwiceFlashesTwice)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();

    manager->saveEnv();
    manager->saveEnv();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage, erasure, storage}));
}

TEST_F(FwUpdateSettingsEnvironmentTest, SaveWithoutTheStoresLeavesChangesInMemory)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    manager->setEnv(u"a"_s, u"2"_s);

    manager->saveEnvNoRestore();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=1\n");
    EXPECT_EQ(readFile(envFile(u"config"_s)), "a=1\n");
    EXPECT_EQ(manager->getEnv(u"a"_s), u"2"_s);
}

TEST_F(FwUpdateSettingsEnvironmentTest, FailedErasureDoesNotStopTheWrite)
{
    for (const QByteArray &failure : {QByteArray("exit 1\n"), QByteArray("kill -KILL $$\n")}) {
        tools.add(u"flash_eraseall"_s, failure);
        start();

        manager->saveEnvNoRestore();

        EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    }
}

TEST_F(FwUpdateSettingsEnvironmentTest, MissingErasureDoesNotStopTheWrite)
{
    start();
    FakeTools others;
    others.add(u"bareboxenv"_s);
    others.hideAllOthers();

    manager->saveEnvNoRestore();

    EXPECT_EQ(others.calls(), QStringList{storage});
}

TEST_F(FwUpdateSettingsEnvironmentTest, LaterLoadKeepsTheStoresAndRenewsTheFiles)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    manager->setEnv(u"a"_s, u"memory"_s);
    writeFile(flashFile(u"config"_s), "a=flash\nb=flash\n");

    manager->loadEnv();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_EQ(readFile(envFile(u"config"_s)), "a=flash\nb=flash\n");
    EXPECT_EQ(store(u"config"_s)->getAll(), (QVariantMap{{u"a"_s, u"memory"_s}}));

    manager->saveEnv();

    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=memory\n");
}

TEST_F(FwUpdateSettingsEnvironmentTest, LaterLoadAddsStoresForNewFiles)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    const BareboxConfig *const before = store(u"config"_s);
    writeFile(flashFile(u"extra"_s), "b=2\n");

    manager->loadEnv();

    EXPECT_EQ(stores(), (QStringList{u"config"_s, u"extra"_s}));
    EXPECT_EQ(store(u"config"_s), before);
    EXPECT_EQ(store(u"extra"_s)->get(u"b"_s), u"2"_s);
}

TEST_F(FwUpdateSettingsEnvironmentTest, LaterLoadSelectsTheFileThatIsListedLast)
{
    writeFile(flashFile(u"boot"_s), "id=boot\n");
    writeFile(flashFile(u"config"_s), "id=config\n");
    start();
    manager->addConfig(u"unsaved"_s);

    manager->loadEnv();

    EXPECT_EQ(manager->getEnv(u"id"_s), QDir(envPath).entryList(QDir::Files, QDir::NoSort).constLast());
}

TEST_F(FwUpdateSettingsEnvironmentTest, NewStoreEntersTheFlashAtSaveAndOutlivesALoad)
{
    start();
    manager->addConfig(u"extra"_s);
    manager->setEnv(u"a"_s, u"1"_s);

    manager->loadEnv();
    EXPECT_FALSE(fileExists(envFile(u"extra"_s)));
    EXPECT_EQ(store(u"extra"_s)->get(u"a"_s), u"1"_s);
    manager->saveEnv();

    EXPECT_EQ(readFile(envFile(u"extra"_s)), "#!/bin/sh\na=1\n");
    EXPECT_EQ(readFile(flashFile(u"extra"_s)), "#!/bin/sh\na=1\n");
}

TEST_F(FwUpdateSettingsEnvironmentTest, DeletedFileStaysInTheFlashUntilTheNextSave)
{
    writeFile(flashFile(u"system"_s), "a=1\n");
    start();

    EXPECT_TRUE(manager->delConfig(u"system"_s));
    EXPECT_FALSE(fileExists(envFile(u"system"_s)));
    EXPECT_TRUE(fileExists(flashFile(u"system"_s)));
    EXPECT_EQ(tools.calls(), QStringList());
    manager->saveEnv();

    EXPECT_FALSE(fileExists(flashFile(u"system"_s)));
}

TEST_F(FwUpdateSettingsEnvironmentTest, DeletedFileComesBackWithALoadBeforeTheNextSave)
{
    writeFile(flashFile(u"system"_s), "a=1\n");
    start();
    ASSERT_TRUE(manager->delConfig(u"system"_s));

    manager->loadEnv();

    EXPECT_EQ(stores(), QStringList{u"system"_s});
}

} // namespace
