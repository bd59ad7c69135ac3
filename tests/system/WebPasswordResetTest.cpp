// Resetting the web password. What gpg says is made up here; the system tests ask the real one.

#include "system/WebPasswordReset.h"

#include "bootenv/FakeFlash.h"
#include "bootenv/OwnerOnBus.h"
#include "fake/FakePlatform.h"

#include "support/Impatience.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDir>

#include <sys/stat.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString store = u"/etc/guiLevel3"_s;
const QByteArray stored = "user=level3\npw=\"secret\"\n";

QStringList event(const QString &name)
{
    return {u"SystemEvent."_s + name + u"(\"/\")"_s};
}

class WebPasswordResetTest : public FakeFlash
{
protected:
    void SetUp() override
    {
        writeFile(flashFile(u"config"_s), "eth0.ethaddr=\"02:00:5E:10:00:01\"\n");
        for (const QString &other : others)
            writeFile(other, stored);
        writeFile(store, stored);
        acceptAll();
        writeFile(file, "hostname=node-1\nmac=02:00:5E:10:00:01\n");
        owner = std::make_unique<OwnerOnBus>();
        level3 = std::make_unique<BareboxConfig>(nullptr, u"/etc/"_s, u"guiLevel3"_s);
        tools.clearCalls();
        clearPlatformCalls();
    }

    bool reset(const QString &path) { return resetWebPassword(path, u"node-1"_s, *level3); }
    bool reset() { return reset(file); }

    void acceptAll() { tools.add(u"gpg"_s); }

    void expectRefused(const QString &name, const QString &path)
    {
        clearPlatformCalls();

        EXPECT_FALSE(reset(path));

        EXPECT_EQ(platformCallTexts(), event(name));
        EXPECT_EQ(readFile(store), stored);
    }

    void expectRefused(const QString &name)
    {
        const QByteArray before = readFile(file);
        expectRefused(name, file);
        EXPECT_EQ(readFile(file), before);
    }

    const QStringList others{u"/etc/guiLevel1"_s, u"/etc/guiLevel2"_s, u"/etc/guiSystem"_s};
    QTemporaryDir directory;
    const QString file = directory.filePath(u"reset"_s);
    std::unique_ptr<OwnerOnBus> owner;
    std::unique_ptr<BareboxConfig> level3;
};

TEST_F(WebPasswordResetTest, EmptiesThePasswordAndDeletesTheFile)
{
    EXPECT_TRUE(reset());

    EXPECT_EQ(tools.calls(), QStringList{u"gpg --verify "_s + file});
    EXPECT_EQ(platformCallTexts(), event(u"pwResetSuccessful"_s));
    EXPECT_EQ(readFile(store), "user=level3\npw=\n");
    EXPECT_FALSE(fileExists(file));
    for (const QString &other : others)
        EXPECT_EQ(readFile(other), stored);
}

TEST_F(WebPasswordResetTest, TellsOfTheSuccessBeforeItDeletesTheFile)
{
    bool stoodThere = false;
    onPlatformCall([&](const PlatformCall &) { stoodThere = fileExists(file) && readFile(store) != stored; });

    EXPECT_TRUE(reset());

    onPlatformCall({});
    EXPECT_TRUE(stoodThere);
}

TEST_F(WebPasswordResetTest, SucceedsThoughThePasswordCannotBeSaved)
{
    removeAll(store);
    QDir().mkpath(store);

    EXPECT_TRUE(reset());

    EXPECT_EQ(platformCallTexts(), event(u"pwResetSuccessful"_s));
    removeAll(store);
}

TEST_F(WebPasswordResetTest, RefusesWhatGpgDoesNotAccept)
{
    for (const char *script : {"exit 1\n", "exit 2\n", "exit 127\n", "kill -SEGV $$\n", "kill -KILL $$\n"}) {
        tools.add(u"gpg"_s, script);

        expectRefused(u"pwResetVerifyFailed"_s);
    }
}

TEST_F(WebPasswordResetTest, RefusesEverythingWithoutGpg)
{
    tools.add(u"gpg"_s, "");
    FakeTools none;
    none.hideAllOthers();

    expectRefused(u"pwResetVerifyFailed"_s);
}

TEST_F(WebPasswordResetTest, TakesAllThatGpgPrints)
{
    tools.add(u"gpg"_s, "head -c 1000000 /dev/zero | tee /dev/stderr\n");

    EXPECT_TRUE(reset());
}

TEST_F(WebPasswordResetTest, GpgHasNothingToRead)
{
    tools.add(u"gpg"_s, "cat; exit 2\n");

    expectRefused(u"pwResetVerifyFailed"_s, u"-"_s);
}

TEST_F(WebPasswordResetTest, GpgIsWaitedForHoweverLongItTakes)
{
    tools.add(u"gpg"_s, "sleep 0.3\n");
    const Impatience impatience;

    EXPECT_TRUE(reset());
}

TEST_F(WebPasswordResetTest, NameIsNoOption)
{
    expectRefused(u"pwResetFileError"_s, u"--version"_s);

    EXPECT_EQ(tools.calls(), QStringList{u"gpg --verify ./--version"_s});
}

TEST_F(WebPasswordResetTest, MissingFileIsNotOpenedWhateverGpgSays)
{
    expectRefused(u"pwResetFileError"_s, directory.filePath(u"missing"_s));
}

TEST_F(WebPasswordResetTest, FifosAndDevicesAreNotGivenToGpg)
{
    const QString fifo = directory.filePath(u"fifo"_s);
    ASSERT_EQ(::mkfifo(qPrintable(fifo), 0600), 0);

    for (const QString &path : {fifo, u"/dev/zero"_s, u"/dev/tty"_s})
        expectRefused(u"pwResetVerifyFailed"_s, path);

    EXPECT_EQ(tools.calls(), QStringList());
    EXPECT_TRUE(fileExists(fifo));
}

TEST_F(WebPasswordResetTest, RefusesAFileWithoutBothValues)
{
    for (const char *text : {"", "hostname=node-1\n", "mac=02:00:5E:10:00:01\n", "hostname=\nmac=02:00:5E:10:00:01\n",
                             "hostname=node-1\nmac=\n", "mac=02:00:5E:10:00:01\nhostname=node-1\n"}) {
        writeFile(file, text);

        expectRefused(u"pwResetFormatError"_s);
    }
}

TEST_F(WebPasswordResetTest, RefusesAnotherHostName)
{
    for (const char *name : {"node-2", "NODE-1", "node-1.local", "node"}) {
        writeFile(file, QByteArray("hostname=") + name + "\nmac=02:00:5E:10:00:01\n");

        expectRefused(u"pwResetHostnameError"_s);
    }
}

TEST_F(WebPasswordResetTest, RefusesAnotherEthernetAddress)
{
    for (const char *mac :
         {"02:00:5E:10:00:02", "02:00:5e:10:00:01", "02-00-5E-10-00-01", "02:00:5E:10:00:0", "02:00:5E:10:00:011"}) {
        writeFile(file, QByteArray("hostname=node-1\nmac=") + mac + "\n");

        expectRefused(u"pwResetMacError"_s);
    }
}

TEST_F(WebPasswordResetTest, HostNameIsComparedFirst)
{
    writeFile(file, "hostname=node-2\nmac=another\n");

    expectRefused(u"pwResetHostnameError"_s);
}

TEST_F(WebPasswordResetTest, RefusesWithoutAnAddressInTheBootEnvironment)
{
    owner->environment.setEnv(u"eth0.ethaddr"_s, u""_s);

    expectRefused(u"pwResetMacError"_s);
}

TEST_F(WebPasswordResetTest, MakesTheStoreOfTheBootEnvironmentWhereItIsMissing)
{
    removeAll(flashFile(u"config"_s));
    removeAll(envFile(u"config"_s));
    owner.reset();
    owner = std::make_unique<OwnerOnBus>();
    EXPECT_FALSE(storesOf(*owner).contains(u"config"_s));

    expectRefused(u"pwResetMacError"_s);

    EXPECT_TRUE(storesOf(*owner).contains(u"config"_s));
}

TEST_F(WebPasswordResetTest, RefusesWithoutAnUpdateManager)
{
    owner.reset();

    expectRefused(u"pwResetFileError"_s);
}

TEST_F(WebPasswordResetTest, RelativePathIsVerifiedHereAndDeletedBelowTheRoot)
{
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(directory.path()));
    writeFile(u"/reset"_s, "below the root");

    EXPECT_TRUE(reset(u"reset"_s));

    EXPECT_TRUE(fileExists(file));
    EXPECT_FALSE(fileExists(u"/reset"_s));
    QDir::setCurrent(before);
}

TEST_F(WebPasswordResetTest, FailuresAreNotCounted)
{
    tools.add(u"gpg"_s, "exit 1\n");
    for (int i = 0; i < 100; ++i)
        expectRefused(u"pwResetVerifyFailed"_s);
    acceptAll();

    EXPECT_TRUE(reset());
}

} // namespace
