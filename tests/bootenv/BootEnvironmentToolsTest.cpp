// The boot environment's way from the flash and back: which tools run, and what becomes of stores and files.

#include "BootEnvironmentFixture.h"
#include "support/Impatience.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class BootEnvironmentToolsTest : public BootEnvironmentFixture
{
protected:
    BareboxConfig *store(const QString &name) const { return parent->findChild<BareboxConfig *>(name); }
};

TEST_F(BootEnvironmentToolsTest, StartWithoutTheDirectoryRemovesNothing)
{
    construct();

    EXPECT_EQ(tools.calls(), QStringList{fetch});
    EXPECT_TRUE(QDir(envPath).exists());
}

TEST_F(BootEnvironmentToolsTest, StartDiscardsWhatTheDirectoryHeld)
{
    writeFile(envFile(u"leftover"_s), "a=1\n");
    writeFile(envFile(u"sub/leftover"_s), "a=1\n");

    construct();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_EQ(QDir(envPath).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    EXPECT_EQ(stores(), QStringList());
}

TEST_F(BootEnvironmentToolsTest, StartMakesAStoreOfEachFileAndSelectsConfig)
{
    writeFile(flashFile(u"boot"_s), "id=boot\n");
    writeFile(flashFile(u"config"_s), "id=config\n");
    writeFile(flashFile(u"system"_s), "id=system\n");

    construct();

    EXPECT_EQ(stores(), (QStringList{u"boot"_s, u"config"_s, u"system"_s}));
    EXPECT_EQ(store(u"system"_s)->get(u"id"_s), u"system"_s);
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);
}

TEST_F(BootEnvironmentToolsTest, OldContentVanishesThoughTheFetchFails)
{
    writeFile(envFile(u"config"_s), "a=old\n");
    tools.add(u"bareboxenv"_s, "exit 1\n");

    construct();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_FALSE(fileExists(envFile(u"config"_s)));
    EXPECT_EQ(stores(), QStringList());
    EXPECT_TRUE(environment->getEnv(u"a"_s).isNull());
}

TEST_F(BootEnvironmentToolsTest, FetchThatFailsHalfWayLeavesWhatItUnpacked)
{
    tools.add(u"bareboxenv"_s, "echo a=1 >\"$2/config\"\nkill -KILL $$\n");

    construct();

    EXPECT_EQ(environment->getEnv(u"a"_s), u"1"_s);
}

TEST_F(BootEnvironmentToolsTest, MissingToolsLeaveAllUnset)
{
    FakeTools none;
    none.hideAllOthers();

    construct();
    environment->addConfig(u"config"_s);
    environment->setIp(u"10.0.0.1"_s);
    environment->saveEnv();

    EXPECT_EQ(stores(), QStringList{u"config"_s});
    EXPECT_EQ(readFile(envFile(u"config"_s)), "#!/bin/sh\neth0.ipaddr=10.0.0.1\n");
}

TEST_F(BootEnvironmentToolsTest, OnlyFilesBecomeStores)
{
    tools.add(u"bareboxenv"_s,
              "mkdir \"$2/sub\"\nmkfifo \"$2/fifo\"\necho a=1 >\"$2/sub/inner\"\necho a=1 >\"$2/file\"\n");

    construct();

    EXPECT_EQ(stores(), QStringList{u"file"_s});
}

TEST_F(BootEnvironmentToolsTest, EachToolHasHalfAMinute)
{
    const QStringList names{u"rm"_s, u"bareboxenv"_s, u"flash_eraseall"_s};
    construct();
    for (const QString &name : names) {
        FakeTools slow;
        slow.add(name, "exec sleep 0.3\n");
        const Messages messages;
        const Impatience impatience;

        name == names.last() ? environment->saveEnvNoRestore() : environment->loadEnv();

        EXPECT_EQ(impatience.longestLimit(), 30) << qPrintable(name);
        EXPECT_TRUE(messages.texts().contains(name + u" is still running"_s)) << qPrintable(name);
    }
}

TEST_F(BootEnvironmentToolsTest, HiddenFileBecomesNoStore)
{
    tools.add(u"bareboxenv"_s, "echo a=1 >\"$2/.hidden\"\necho a=1 >\"$2/file\"\n");

    construct();

    EXPECT_EQ(stores(), QStringList{u"file"_s});
}

TEST_F(BootEnvironmentToolsTest, SaveWritesTheStoresBeforeItTouchesTheFlash)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    writeFile(flashFile(u"system"_s), "b=1\n");
    tools.add(u"flash_eraseall"_s, "cat " + envPath.toUtf8() + "* >" + flash() + "/seen-by-erasure\n");
    start();
    store(u"config"_s)->set(u"a"_s, u"2"_s);
    store(u"system"_s)->set(u"b"_s, u"2"_s);

    environment->saveEnv();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    EXPECT_EQ(readFile(flashFile(u"seen-by-erasure"_s)), "a=2\nb=2\n");
    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=2\n");
    EXPECT_EQ(readFile(flashFile(u"system"_s)), "b=2\n");
}

TEST_F(BootEnvironmentToolsTest, SavingTwiceFlashesTwice)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();

    environment->saveEnv();
    environment->saveEnv();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage, erasure, storage}));
}

TEST_F(BootEnvironmentToolsTest, SaveWithoutTheStoresLeavesChangesInMemory)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    environment->setEnv(u"a"_s, u"2"_s);

    environment->saveEnvNoRestore();

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=1\n");
    EXPECT_EQ(readFile(envFile(u"config"_s)), "a=1\n");
    EXPECT_EQ(environment->getEnv(u"a"_s), u"2"_s);
}

TEST_F(BootEnvironmentToolsTest, FailedErasureDoesNotStopTheWrite)
{
    for (const QByteArray &failure : {QByteArray("exit 1\n"), QByteArray("kill -KILL $$\n")}) {
        tools.add(u"flash_eraseall"_s, failure);
        start();

        environment->saveEnvNoRestore();

        EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    }
}

TEST_F(BootEnvironmentToolsTest, MissingErasureDoesNotStopTheWrite)
{
    start();
    FakeTools others;
    others.add(u"bareboxenv"_s);
    others.hideAllOthers();

    environment->saveEnvNoRestore();

    EXPECT_EQ(others.calls(), QStringList{storage});
}

TEST_F(BootEnvironmentToolsTest, LaterLoadKeepsTheStoresAndRenewsTheFiles)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    environment->setEnv(u"a"_s, u"memory"_s);
    writeFile(flashFile(u"config"_s), "a=flash\nb=flash\n");

    environment->loadEnv();

    EXPECT_EQ(tools.calls(), (QStringList{removal, fetch}));
    EXPECT_EQ(readFile(envFile(u"config"_s)), "a=flash\nb=flash\n");
    EXPECT_EQ(store(u"config"_s)->getAll(), (QVariantMap{{u"a"_s, u"memory"_s}}));

    environment->saveEnv();

    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=memory\n");
}

TEST_F(BootEnvironmentToolsTest, LaterLoadAddsStoresForNewFiles)
{
    writeFile(flashFile(u"config"_s), "a=1\n");
    start();
    const BareboxConfig *const before = store(u"config"_s);
    writeFile(flashFile(u"extra"_s), "b=2\n");

    environment->loadEnv();

    EXPECT_EQ(stores(), (QStringList{u"config"_s, u"extra"_s}));
    EXPECT_EQ(store(u"config"_s), before);
    EXPECT_EQ(store(u"extra"_s)->get(u"b"_s), u"2"_s);
}

TEST_F(BootEnvironmentToolsTest, LaterLoadSelectsTheFileThatIsListedLast)
{
    writeFile(flashFile(u"boot"_s), "id=boot\n");
    writeFile(flashFile(u"config"_s), "id=config\n");
    start();
    environment->addConfig(u"unsaved"_s);

    environment->loadEnv();

    EXPECT_EQ(environment->getEnv(u"id"_s), QDir(envPath).entryList(QDir::Files, QDir::Unsorted).constLast());
}

TEST_F(BootEnvironmentToolsTest, NewStoreEntersTheFlashAtSaveAndOutlivesALoad)
{
    start();
    environment->addConfig(u"extra"_s);
    environment->setEnv(u"a"_s, u"1"_s);

    environment->loadEnv();
    EXPECT_FALSE(fileExists(envFile(u"extra"_s)));
    EXPECT_EQ(store(u"extra"_s)->get(u"a"_s), u"1"_s);
    environment->saveEnv();

    EXPECT_EQ(readFile(envFile(u"extra"_s)), "#!/bin/sh\na=1\n");
    EXPECT_EQ(readFile(flashFile(u"extra"_s)), "#!/bin/sh\na=1\n");
}

TEST_F(BootEnvironmentToolsTest, DeletedFileStaysInTheFlashUntilTheNextSave)
{
    writeFile(flashFile(u"system"_s), "a=1\n");
    start();

    EXPECT_TRUE(environment->delConfig(u"system"_s));
    EXPECT_FALSE(fileExists(envFile(u"system"_s)));
    EXPECT_TRUE(fileExists(flashFile(u"system"_s)));
    EXPECT_EQ(tools.calls(), QStringList());
    environment->saveEnv();

    EXPECT_FALSE(fileExists(flashFile(u"system"_s)));
}

TEST_F(BootEnvironmentToolsTest, DeletedFileComesBackWithALoadBeforeTheNextSave)
{
    writeFile(flashFile(u"system"_s), "a=1\n");
    start();
    ASSERT_TRUE(environment->delConfig(u"system"_s));

    environment->loadEnv();

    EXPECT_EQ(stores(), QStringList{u"system"_s});
}

} // namespace
