// Files in the way, and a bus that is not there.

#include "NtpFixture.h"

#include "support/BindMount.h"
#include "support/QtPrinting.h"

#include <QDBusVariant>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class NtpConfigObstacleTest : public NtpFixture
{
protected:
    ~NtpConfigObstacleTest() override { removeAll(fallbackPath); }

    void makeDirectory(const char *path) { ASSERT_EQ(::mkdir(path, 0755), 0); }

    void expectStartToLeaveTheJobAlone()
    {
        make();

        EXPECT_EQ(platformCallTexts(), QStringList());
    }

    void expectChangesToLeaveTheJobStopped()
    {
        const QVariant list = QStringList{u"10.0.0.1"_s};
        start();

        ntp->setNtpServer(u"ntp.example"_s);
        QMetaObject::invokeMethod(ntp.get(), "connmanServicePropertyChanged", Q_ARG(QString, u"Timeservers"_s),
                                  Q_ARG(QDBusVariant, QDBusVariant(list)));

        EXPECT_EQ(platformCallTexts(), (QStringList{stopped, stopped}));
        EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\nNTPSERVER=ntp.example\n");
        EXPECT_EQ(ntp->getUsedNtpServer(), (QStringList{u"ntp.example"_s, u"10.0.0.1"_s}));
    }

    const QString fallbackPath = u"/var/run/ntp.conf"_s;
};

TEST_F(NtpConfigObstacleTest, DirectoryInTheFilesPlaceIsNotWritten)
{
    makeDirectory("/var/run/ntp");
    makeDirectory("/var/run/ntp/ntp.conf");

    expectStartToLeaveTheJobAlone();
    expectChangesToLeaveTheJobStopped();
}

TEST_F(NtpConfigObstacleTest, NobodyWaitsOnAFifo)
{
    makeDirectory("/var/run/ntp");
    ASSERT_EQ(::mkfifo("/var/run/ntp/ntp.conf", 0644), 0);

    expectStartToLeaveTheJobAlone();
    expectChangesToLeaveTheJobStopped();
}

TEST_F(NtpConfigObstacleTest, DeviceIsNoFile)
{
    makeDirectory("/var/run/ntp");
    ASSERT_EQ(::symlink("/dev/full", "/var/run/ntp/ntp.conf"), 0);

    expectStartToLeaveTheJobAlone();
    expectChangesToLeaveTheJobStopped();
}

TEST_F(NtpConfigObstacleTest, ReadOnlyFileKeepsItsText)
{
    makeDirectory("/var/run/ntp");
    writeFile(filePath, "old\n");
    const BindMount readOnly(filePath, filePath, MS_RDONLY);

    expectStartToLeaveTheJobAlone();
    expectChangesToLeaveTheJobStopped();

    EXPECT_EQ(readFile(filePath), "old\n");
}

TEST_F(NtpConfigObstacleTest, FileInTheDirectorysPlacePutsTheConfigurationBesideIt)
{
    writeFile(directoryPath, "kept");

    start();

    EXPECT_EQ(readFile(directoryPath), "kept");
    EXPECT_EQ(readFile(fallbackPath).split('\n').value(3), "server 127.0.0.1 iburst prefer minpoll 4 maxpoll 4");
}

TEST_F(NtpConfigObstacleTest, JobIsStartedWhenTheObstacleIsGone)
{
    makeDirectory("/var/run/ntp");
    makeDirectory("/var/run/ntp/ntp.conf");
    start();
    removeAll(directoryPath);

    ntp->setNtpServer(u"ntp.example"_s);

    EXPECT_EQ(platformCallTexts(), (QStringList{stopped, started}));
    EXPECT_EQ(servers(), QStringList{u"ntp.example"_s});
}

TEST_F(NtpConfigObstacleTest, ServerCountsThoughTheVariablesCanNotBeWritten)
{
    const BindMount readOnly(variablesPath, variablesPath, MS_RDONLY);
    start();

    ntp->setNtpServer(u"ntp.example"_s);

    EXPECT_EQ(servers(), QStringList{u"ntp.example"_s});
    EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\n");
    EXPECT_EQ(platformCallTexts(), (QStringList{stopped, started}));
}

/** In a process of its own, as this one has used the bus by now. */
TEST(NtpConfigDeathTest, WithoutABusTheProgramEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    const auto makeItWithoutABus = [] {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no-bus-here");
        BareboxConfig store(nullptr, u"/etc/"_s, u"variables"_s);
        const NtpConfig config(&store, nullptr);
    };
    EXPECT_DEATH(makeItWithoutABus(), "Connman property connect failed!");
}

} // namespace
