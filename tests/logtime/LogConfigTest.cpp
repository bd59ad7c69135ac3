#include "logtime/LogConfig.h"

#include "FakeService.h"
#include "support/BindMount.h"
#include "support/BusClient.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/Syncs.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QElapsedTimer>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString filePath = u"/etc/syslog.conf"_s;
const QString initName = u"com.ubuntu.Upstart"_s;
const QString jobsPath = u"/com/ubuntu/Upstart/jobs"_s;
const QString interfaceName = u"local.LogConfig"_s;
const QByteArray heading =
    "#non-standard config file used for syslogd.conf in upstart, do not edit use nodekeep/system/syslog\n";
const QByteArray otherSettings = "SIZE=\"-s 64\"\nREMOTE=\"-R loghost\"\nLOCAL=\n";

std::string logged(const Messages &messages)
{
    return messages.texts().join(u'\n').toStdString();
}

/** A device without the file. */
class LogConfigFixture : public testing::Test
{
protected:
    LogConfigFixture() { removeAll(filePath); }
    ~LogConfigFixture() override { removeAll(filePath); }
};

class LogConfigTest : public LogConfigFixture
{
protected:
    qsizetype restarts() const { return init.calls().size(); }

    FakeService init{initName, jobsPath};
};

// Start

TEST_F(LogConfigTest, ObjectNameIsSyslog)
{
    EXPECT_EQ(LogConfig(nullptr).objectName(), u"syslog"_s);
}

TEST_F(LogConfigTest, WithoutAFileHasTheDefaultsAndLeavesItMissing)
{
    const LogConfig log(nullptr);

    EXPECT_TRUE(log.getLocal());
    EXPECT_EQ(log.getRemote(), QString());
    EXPECT_EQ(log.getLogFileSize(), 200);
    EXPECT_FALSE(fileExists(filePath));
    EXPECT_EQ(restarts(), 0);
}

TEST_F(LogConfigTest, ReadsTheFileAtConstructionAndNeitherWritesNorRestarts)
{
    writeFile(filePath, otherSettings);

    const LogConfig log(nullptr);

    EXPECT_FALSE(log.getLocal());
    EXPECT_EQ(log.getRemote(), u"loghost"_s);
    EXPECT_EQ(log.getLogFileSize(), 64);
    EXPECT_EQ(readFile(filePath), otherSettings);
    EXPECT_EQ(restarts(), 0);
}

TEST_F(LogConfigTest, ReadsTheFileOnce)
{
    writeFile(filePath, otherSettings);
    const LogConfig log(nullptr);

    writeFile(filePath, "SIZE=\"-s 1\"\nREMOTE=\"-R another\"\nLOCAL=-L\n");

    EXPECT_FALSE(log.getLocal());
    EXPECT_EQ(log.getRemote(), u"loghost"_s);
    EXPECT_EQ(log.getLogFileSize(), 64);
}

TEST_F(LogConfigTest, DirectoryInTheFilesPlaceMeansTheDefaults)
{
    ASSERT_EQ(::mkdir("/etc/syslog.conf", 0755), 0);

    EXPECT_EQ(LogConfig(nullptr).getLogFileSize(), 200);
}

// Changing

TEST_F(LogConfigTest, EachSetterStoresWritesAndRestarts)
{
    LogConfig log(nullptr);

    log.setLocal(false);
    EXPECT_FALSE(log.getLocal());
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 200\"\nLOCAL=\n");
    EXPECT_EQ(restarts(), 1);

    log.setRemote(u"loghost:514"_s);
    EXPECT_EQ(log.getRemote(), u"loghost:514"_s);
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 200\"\nREMOTE=\"-R loghost:514\"\nLOCAL=\n");
    EXPECT_EQ(restarts(), 2);

    log.setLogFileSize(64);
    EXPECT_EQ(log.getLogFileSize(), 64);
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 64\"\nREMOTE=\"-R loghost:514\"\nLOCAL=\n");
    EXPECT_EQ(restarts(), 3);
}

TEST_F(LogConfigTest, EmptyTargetTakesItsLineAway)
{
    writeFile(filePath, otherSettings);
    LogConfig log(nullptr);

    log.setRemote(QString());

    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 64\"\nLOCAL=\n");
}

TEST_F(LogConfigTest, TargetOfMoreThanAMebibyteChangesNothing)
{
    const QString longest(1024 * 1024, u'x');
    LogConfig log(nullptr);

    log.setRemote(longest);
    log.setRemote(longest + u'x');

    EXPECT_EQ(log.getRemote(), longest);
    EXPECT_EQ(restarts(), 1);
}

TEST_F(LogConfigTest, PresentValueIsWrittenAndAppliedAgain)
{
    LogConfig log(nullptr);

    log.setLocal(true);
    log.setRemote(QString());
    writeFile(filePath, "by another program");
    log.setLogFileSize(200);

    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 200\"\nLOCAL=-L\n");
    EXPECT_EQ(restarts(), 3);
}

TEST_F(LogConfigTest, ShorterTextReplacesALongerOneWhole)
{
    writeFile(filePath, QByteArray(10'000, 'x'));
    LogConfig log(nullptr);

    log.setLogFileSize(-1);

    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s -1\"\nLOCAL=-L\n");
}

TEST_F(LogConfigTest, NextStartHasTheSettings)
{
    {
        LogConfig log(nullptr);
        log.setLocal(false);
        log.setRemote(u"a \"b\""_s);
        log.setLogFileSize(0);
    }

    const LogConfig next(nullptr);

    EXPECT_FALSE(next.getLocal());
    EXPECT_EQ(next.getRemote(), u"a \"b\""_s);
    EXPECT_EQ(next.getLogFileSize(), 0);
}

// The restart

TEST_F(LogConfigTest, RestartIsOneCallWithAnEmptyEnvironmentThatDoesNotWaitForTheJob)
{
    LogConfig log(nullptr);

    log.setLocal(true);

    ASSERT_EQ(init.calls().size(), 1);
    const QDBusMessage call = init.calls().constFirst();
    EXPECT_EQ(call.path(), jobsPath + u"/syslogd"_s);
    EXPECT_EQ(call.interface(), u"com.ubuntu.Upstart0_6.Job"_s);
    EXPECT_EQ(call.member(), u"Restart"_s);
    EXPECT_EQ(call.signature(), u"asb"_s);
    EXPECT_EQ(call.arguments().value(0).toStringList(), QStringList());
    EXPECT_EQ(call.arguments().value(1), QVariant(false));
    EXPECT_TRUE(call.isReplyRequired());
}

class LogConfigRestartTest : public LogConfigFixture
{
protected:
    LogConfig log{nullptr};
};

TEST_F(LogConfigRestartTest, InitSystemFindsTheFileTruncatedAndNotYetWritten)
{
    writeFile(filePath, otherSettings);
    QByteArray seen = "nothing";
    const int syncsBefore = syncsSoFar();
    int syncsThen = 0;
    {
        const FakeService init(initName, jobsPath, [&](const QDBusMessage &call) {
            seen = readFile(filePath);
            syncsThen = syncsSoFar();
            return call.createReply();
        });

        log.setLogFileSize(7);
    }

    EXPECT_EQ(seen, "");
    EXPECT_EQ(syncsThen, syncsBefore + 1);
    EXPECT_EQ(syncsSoFar(), syncsBefore + 1);
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 7\"\nLOCAL=-L\n");
}

TEST_F(LogConfigRestartTest, AnswerOfTheInitSystemIsWaitedFor)
{
    std::atomic<bool> isDone = false;
    const FakeService init(initName, jobsPath, [&](const QDBusMessage &call) {
        QThread::msleep(300);
        isDone = true;
        return call.createReply();
    });

    log.setLocal(false);

    EXPECT_TRUE(isDone);
}

TEST_F(LogConfigRestartTest, AnswerIsLoggedAsItStands)
{
    const FakeService init(initName, jobsPath,
                           [](const QDBusMessage &call) { return call.createReply(u"as it stands"_s); });
    const Messages messages;

    log.setLocal(false);

    EXPECT_THAT(logged(messages), testing::HasSubstr("as it stands"));
}

TEST_F(LogConfigRestartTest, RefusalIsLoggedAndTheSettingKept)
{
    const FakeService init(initName, jobsPath, [](const QDBusMessage &call) {
        return call.createErrorReply(u"com.ubuntu.Upstart0_6.Error.UnknownInstance"_s, u"Unknown instance"_s);
    });
    const Messages messages;

    log.setLocal(false);

    EXPECT_FALSE(log.getLocal());
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 200\"\nLOCAL=\n");
    EXPECT_THAT(logged(messages), testing::HasSubstr("Error.UnknownInstance"));
}

TEST_F(LogConfigRestartTest, WithoutAnInitSystemTheSettingIsWrittenAtOnce)
{
    const Messages messages;

    log.setLogFileSize(9);

    // The bus has answered; NoReply would have been the end of a wait.
    EXPECT_THAT(logged(messages), testing::HasSubstr("Error.ServiceUnknown"));
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 9\"\nLOCAL=-L\n");
}

TEST_F(LogConfigRestartTest, SilentInitSystemIsGivenUpAfterTheTimeOutOfTheBus)
{
    const FakeService init(initName, jobsPath, [](const QDBusMessage &) { return QDBusMessage(); });
    QElapsedTimer timer;
    timer.start();

    log.setLogFileSize(9);

    EXPECT_GE(timer.elapsed(), 20'000);
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 9\"\nLOCAL=-L\n");
}

// Obstacles

class LogConfigObstacleTest : public LogConfigTest
{
protected:
    void expectToRestartAllTheSame()
    {
        log.setLogFileSize(9);
        log.setRemote(u"a"_s);
        log.setLocal(false);

        EXPECT_EQ(restarts(), 3);
        EXPECT_EQ(log.getLogFileSize(), 9);
        EXPECT_EQ(log.getRemote(), u"a"_s);
        EXPECT_FALSE(log.getLocal());
    }

    LogConfig log{nullptr};
};

TEST_F(LogConfigObstacleTest, ReadOnlyFileKeepsItsText)
{
    writeFile(filePath, otherSettings);
    const BindMount readOnly(filePath, filePath, MS_RDONLY);

    expectToRestartAllTheSame();

    EXPECT_EQ(readFile(filePath), otherSettings);
}

TEST_F(LogConfigObstacleTest, DirectoryStays)
{
    ASSERT_EQ(::mkdir("/etc/syslog.conf", 0755), 0);

    expectToRestartAllTheSame();

    struct stat status
    {
    };
    ASSERT_EQ(::stat("/etc/syslog.conf", &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST_F(LogConfigObstacleTest, NobodyWaitsOnAFifo)
{
    ASSERT_EQ(::mkfifo("/etc/syslog.conf", 0644), 0);

    EXPECT_EQ(LogConfig(nullptr).getLogFileSize(), 200);
    expectToRestartAllTheSame();
}

TEST_F(LogConfigObstacleTest, DeviceIsNoFile)
{
    ASSERT_EQ(::symlink("/dev/full", "/etc/syslog.conf"), 0);

    EXPECT_EQ(LogConfig(nullptr).getLogFileSize(), 200);
    expectToRestartAllTheSame();
}

// The bus

class LogConfigBusTest : public LogConfigTest
{
protected:
    LogConfigBusTest()
    {
        new LogConfig(&parent);
        putOnBus(u"/parent"_s, &parent);
    }

    QVariant read(const QString &property) { return client.getProperty(path, interfaceName, property); }

    const QString path = u"/parent/syslog"_s;
    QObject parent;
    BusClient client;
};

TEST_F(LogConfigBusTest, OffersItsPropertiesAndMethodsInOrder)
{
    const QStringList expected{
        u"property log_local b readwrite"_s,
        u"property remote_log_target s readwrite"_s,
        u"property log_size_kb i readwrite"_s,
        u"method getLocal() -> b"_s,
        u"method setLocal(b)"_s,
        u"method getRemote() -> s"_s,
        u"method setRemote(s)"_s,
        u"method getLogFileSize() -> i"_s,
        u"method setLogFileSize(i)"_s,
    };

    EXPECT_EQ(client.members(path, interfaceName), expected);
}

TEST_F(LogConfigBusTest, MethodsChangeWhatPropertiesTell)
{
    client.call(path, interfaceName, u"setLocal"_s, {false});
    client.call(path, interfaceName, u"setRemote"_s, {u"loghost"_s});
    client.call(path, interfaceName, u"setLogFileSize"_s, {64});

    EXPECT_EQ(read(u"log_local"_s), QVariant(false));
    EXPECT_EQ(read(u"remote_log_target"_s), QVariant(u"loghost"_s));
    EXPECT_EQ(read(u"log_size_kb"_s), QVariant(64));
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 64\"\nREMOTE=\"-R loghost\"\nLOCAL=\n");
    EXPECT_EQ(restarts(), 3);
}

TEST_F(LogConfigBusTest, PropertiesChangeWhatMethodsTell)
{
    client.setProperty(path, interfaceName, u"log_local"_s, false);
    client.setProperty(path, interfaceName, u"remote_log_target"_s, u"loghost"_s);
    client.setProperty(path, interfaceName, u"log_size_kb"_s, 64);

    EXPECT_EQ(client.value(path, interfaceName, u"getLocal"_s), QVariant(false));
    EXPECT_EQ(client.value(path, interfaceName, u"getRemote"_s), QVariant(u"loghost"_s));
    EXPECT_EQ(client.value(path, interfaceName, u"getLogFileSize"_s), QVariant(64));
    EXPECT_EQ(readFile(filePath), heading + "SIZE=\"-s 64\"\nREMOTE=\"-R loghost\"\nLOCAL=\n");
    EXPECT_EQ(restarts(), 3);
}

TEST_F(LogConfigBusTest, ArgumentsOfAnotherTypeAreRefused)
{
    const QList<std::pair<QString, QVariant>> calls{
        {u"setLocal"_s, u"true"_s}, {u"setRemote"_s, 5}, {u"setLogFileSize"_s, u"64"_s}};
    for (const auto &[method, argument] : calls) {
        EXPECT_EQ(client.call(path, interfaceName, method, {argument}).type(), QDBusMessage::ErrorMessage)
            << qPrintable(method);
    }

    EXPECT_FALSE(fileExists(filePath));
    EXPECT_EQ(restarts(), 0);
}

} // namespace
