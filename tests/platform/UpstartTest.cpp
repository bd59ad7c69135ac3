#include "LoggedCalls.h"

#include <qmz/Upstart.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

/** The init system's side, on a connection and a thread of its own: a caller that waits does not stop it. */
class FakeInit : public QDBusVirtualObject
{
public:
    FakeInit()
    {
        auto connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"init"_s);
        EXPECT_TRUE(connection.registerVirtualObject(u"/com/ubuntu/Upstart/jobs"_s, this, QDBusConnection::SubPath));
        moveToThread(&thread);
        thread.start();
        EXPECT_TRUE(connection.registerService(u"com.ubuntu.Upstart"_s));
    }

    ~FakeInit() override
    {
        mayAnswer.release(100);
        QDBusConnection(u"init"_s).unregisterService(u"com.ubuntu.Upstart"_s);
        QDBusConnection(u"init"_s).unregisterObject(u"/com/ubuntu/Upstart/jobs"_s, QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(u"init"_s);
        thread.quit();
        thread.wait();
    }
    Q_DISABLE_COPY_MOVE(FakeInit)

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        {
            const std::lock_guard lock(mutex);
            received.append(toText(message));
        }
        mayAnswer.acquire();
        ++answered;
        if (message.isReplyRequired())
            connection.send(message.createReply());
        return true;
    }

    QStringList calls() const
    {
        const std::lock_guard lock(mutex);
        return received;
    }

    QSemaphore mayAnswer;
    std::atomic<int> answered = 0;

private:
    static QString toText(const QDBusMessage &message)
    {
        return QStringList{message.path().section(u'/', -1),
                           message.interface(),
                           message.member(),
                           message.signature(),
                           message.arguments().value(0).toStringList().join(u',') + u'|',
                           message.arguments().value(1).toBool() ? u"true"_s : u"false"_s,
                           message.isReplyRequired() ? u"reply"_s : u"no reply"_s}
            .join(u' ');
    }

    QThread thread;
    mutable std::mutex mutex;
    QStringList received;
};

class UpstartTest : public ::testing::Test
{
protected:
    void SetUp() override { removeAll(platformLogDir); }

    FakeInit init;
};

} // namespace

TEST_F(UpstartTest, CallsStartAndStopOfTheJobWithAnEmptyEnvironmentAndTheFlag)
{
    init.mayAnswer.release(4);

    Upstart::start(u"codesys"_s, false);
    Upstart::stop(u"codesys"_s, false);
    Upstart::start(u"ntp"_s, true);
    Upstart::stop(u"avahi_2dautoip"_s, true);

    EXPECT_EQ(init.calls(), (QStringList{u"codesys com.ubuntu.Upstart0_6.Job Start asb | false no reply"_s,
                                         u"codesys com.ubuntu.Upstart0_6.Job Stop asb | false no reply"_s,
                                         u"ntp com.ubuntu.Upstart0_6.Job Start asb | true reply"_s,
                                         u"avahi_2dautoip com.ubuntu.Upstart0_6.Job Stop asb | true reply"_s}));
}

TEST_F(UpstartTest, DoesNotWaitForTheAnswerWhenTheFlagIsFalse)
{
    Upstart::stop(u"codesys"_s, false); // the answer is held back until the test lets it go

    EXPECT_EQ(init.answered, 0);
    EXPECT_TRUE(waitUntil([this] { return init.calls().size() == 1; }));
}

TEST_F(UpstartTest, WaitsForTheAnswerWhenTheFlagIsTrue)
{
    std::thread slowJob([this] {
        QThread::msleep(300);
        init.mayAnswer.release(1);
    });

    Upstart::stop(u"ntp"_s, true);

    EXPECT_EQ(init.answered, 1);
    slowJob.join();
}

TEST_F(UpstartTest, GivesUpAServiceThatNeverAnswersAfterThirtySeconds)
{
    QElapsedTimer timer;
    timer.start();

    Upstart::stop(u"ntp"_s, true);

    EXPECT_EQ(init.answered, 0);
    EXPECT_GE(timer.elapsed(), 29000);
}

TEST_F(UpstartTest, RestartsTheNameServicesOneAfterTheOtherWithoutWaiting)
{
    Upstart::restartNameservices();
    EXPECT_EQ(init.answered, 0);
    init.mayAnswer.release(4);

    EXPECT_TRUE(waitUntil([this] { return init.calls().size() == 4; }));
    EXPECT_EQ(init.calls(), (QStringList{u"avahi_2ddaemon com.ubuntu.Upstart0_6.Job Stop asb | false no reply"_s,
                                         u"avahi_2ddaemon com.ubuntu.Upstart0_6.Job Start asb | false no reply"_s,
                                         u"nmbd com.ubuntu.Upstart0_6.Job Stop asb | false no reply"_s,
                                         u"nmbd com.ubuntu.Upstart0_6.Job Start asb | false no reply"_s}));
}

TEST_F(UpstartTest, RecordsEachOperationOnce)
{
    init.mayAnswer.release(6);

    Upstart::start(u"hostname"_s, false);
    Upstart::stop(u"ntp"_s, true);
    Upstart::restartNameservices();

    EXPECT_EQ(loggedCalls(), (QStringList{u"Upstart.start[\"hostname\",false]"_s, u"Upstart.stop[\"ntp\",true]"_s,
                                          u"Upstart.restartNameservices[]"_s}));
}

TEST_F(UpstartTest, ObjectOfItNeitherCallsNorRecords)
{
    const Upstart jobs;
    init.mayAnswer.release(1);
    Upstart::start(u"ntp"_s, true);

    EXPECT_EQ(init.calls().size(), 1) << qPrintable(init.calls().join(u'\n'));
    EXPECT_EQ(loggedCalls(), QStringList{u"Upstart.start[\"ntp\",true]"_s});
}

TEST_F(UpstartTest, SendsNothingForANameThatNoObjectPathCanHold)
{
    Upstart::start(u"no such-job/"_s, false);
    Upstart::stop(QString(), true);
    init.mayAnswer.release(1);
    Upstart::start(u"ntp"_s, true);

    EXPECT_EQ(init.calls().size(), 1) << qPrintable(init.calls().join(u'\n'));
    EXPECT_EQ(loggedLines().size(), 3);
}

TEST(UpstartWithoutInitTest, ReturnsWhenNobodyOwnsTheServiceName)
{
    removeAll(platformLogDir);

    Upstart::start(u"ntp"_s, true);
    Upstart::stop(u"ntp"_s, false);
    Upstart::restartNameservices();

    EXPECT_EQ(loggedLines().size(), 3);
}
