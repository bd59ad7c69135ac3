// The boot environment with the device's own tools and flash.

#include "bootenv/BareboxConfig.h"
#include "bootenv/BootEnvironment.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString device = u"/dev/mtdblock1"_s;
const QString envPath = u"/var/run/bareboxenv/"_s;

class BootEnvironmentFlashTest : public testing::Test
{
protected:
    void SetUp() override
    {
        removeAll(envPath);
        writeFile(original.filePath(u"config"_s),
                  "#!/bin/sh\n# addresses\neth0.ipaddr=\"10.0.0.1\"\n\n# mode\nip=none\n");
        writeFile(original.filePath(u"system"_s), "#!/bin/sh\nserial=4711\n");
        ASSERT_EQ(QProcess::execute(u"bareboxenv"_s, {u"-s"_s, original.path(), device}), 0);
    }

    /** A file as the flash holds it. */
    static QByteArray flashed(const QString &name)
    {
        const QTemporaryDir unpacked;
        EXPECT_EQ(QProcess::execute(u"bareboxenv"_s, {u"-l"_s, unpacked.path(), device}), 0);
        return readFile(unpacked.filePath(name));
    }

    QTemporaryDir original;
};

/** A boot environment as it is at the start of the daemon. */
struct LoadedEnvironment : QObject, BootEnvironment
{
    LoadedEnvironment() : BootEnvironment(this)
    {
        loadEnv();
        lookupConfig(mainConfig);
    }
};

TEST_F(BootEnvironmentFlashTest, VariablesComeFromTheFlash)
{
    LoadedEnvironment environment;

    EXPECT_EQ(environment.getEnv(u"eth0.ipaddr"_s), u"10.0.0.1"_s);
    EXPECT_TRUE(environment.lookupConfig(u"system"_s));
    EXPECT_EQ(environment.getEnv(u"serial"_s), u"4711"_s);
}

TEST_F(BootEnvironmentFlashTest, SavedChangesReachTheFlashInPlace)
{
    LoadedEnvironment environment;

    environment.setIp(u"10.0.0.2"_s);
    environment.setGateway(u"10.0.0.254"_s);
    environment.saveEnv();

    EXPECT_EQ(flashed(u"config"_s),
              "#!/bin/sh\n# addresses\neth0.ipaddr=10.0.0.2\n# mode\nip=none\neth0.gateway=10.0.0.254\n");
    EXPECT_EQ(flashed(u"system"_s), "#!/bin/sh\nserial=4711\n");
}

TEST_F(BootEnvironmentFlashTest, UnsavedChangesAreGoneWithTheObject)
{
    LoadedEnvironment().setIp(u"10.0.0.2"_s);

    LoadedEnvironment next;

    EXPECT_EQ(next.getEnv(u"eth0.ipaddr"_s), u"10.0.0.1"_s);
}

TEST_F(BootEnvironmentFlashTest, SavedChangesAreThereForTheNextObject)
{
    {
        LoadedEnvironment environment;
        environment.setDhcp(true);
        environment.saveEnv();
    }

    LoadedEnvironment next;

    EXPECT_EQ(next.getEnv(u"ip"_s), u"dhcp"_s);
}

TEST_F(BootEnvironmentFlashTest, DamagedFlashLeavesAllUnset)
{
    QFile flash(device);
    ASSERT_TRUE(flash.open(QIODevice::ReadWrite) && flash.seek(100) && flash.write("damage") == 6);
    flash.close();

    LoadedEnvironment environment;

    EXPECT_TRUE(environment.getEnv(u"eth0.ipaddr"_s).isNull());
    EXPECT_FALSE(environment.lookupConfig(u"config"_s));
    EXPECT_EQ(QDir(envPath).entryList(QDir::Files), QStringList());
}

TEST_F(BootEnvironmentFlashTest, ErasedFlashIsFilledByTheNextSave)
{
    ASSERT_EQ(QProcess::execute(u"flash_eraseall"_s, {device}), 0);
    LoadedEnvironment environment;

    environment.setIp(u"10.0.0.3"_s);
    environment.saveEnv();

    EXPECT_EQ(flashed(u"config"_s), "#!/bin/sh\neth0.ipaddr=10.0.0.3\n");
}

} // namespace
