// Signalling with the LEDs, on this device and by a request to another one.

#include "system/LedSignaling.h"

#include "fake/FakePlatform.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"
#include "system/LedRequest.h"

#include <gmock/gmock.h>

#include <QChildEvent>
#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int quietMs = 300; // long enough for a request that should not come

/** The web server of another device: takes requests and answers when the test says so. */
class OtherDevice
{
public:
    OtherDevice()
    {
        QObject::connect(&server, &QTcpServer::newConnection, &server, [this] {
            auto *const socket = server.nextPendingConnection();
            sockets.append(socket);
            taken.append(QByteArray());
            const qsizetype number = taken.size() - 1;
            QObject::connect(socket, &QTcpSocket::readyRead, &server, [this, socket, number] {
                taken[number] += socket->readAll();
                if (isComplete(number))
                    onRequest(socket);
            });
        });
        EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    }

    QString address() const { return u"127.0.0.1:%1"_s.arg(server.serverPort()); }

    /** Each connection's bytes so far. */
    const QList<QByteArray> &requests() const { return taken; }
    QByteArray body(qsizetype number) const { return taken.value(number).mid(headEnd(number)); }
    bool hasRequests(qsizetype count) const { return taken.size() >= count && isComplete(count - 1); }

    void answer(qsizetype number, const QByteArray &text = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}")
    {
        sockets.at(number)->write(text);
        sockets.at(number)->flush();
    }

    /** What happens when a request has come in full; nothing at first. */
    std::function<void(QTcpSocket *)> onRequest = [](QTcpSocket *) {};

private:
    qsizetype headEnd(qsizetype number) const { return taken.value(number).indexOf("\r\n\r\n") + 4; }
    bool isComplete(qsizetype number) const { return taken.value(number).endsWith("\"]}"); }

    QList<QByteArray> taken;
    QList<QTcpSocket *> sockets;
    QTcpServer server;
};

/** The network managers that have made a request since this object exists. */
class UsedManagers : public QObject
{
public:
    UsedManagers() { qApp->installEventFilter(this); }
    ~UsedManagers() override
    {
        // Those that are left for good, so that the leak is the tested one and no other.
        for (const auto &manager : managers)
            delete manager;
    }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::ChildAdded && object->inherits("QNetworkAccessManager") &&
            !managers.contains(object))
            managers.append(object);
        return false;
    }

    QList<bool> alive() const
    {
        QList<bool> result;
        for (const auto &manager : managers)
            result.append(!manager.isNull());
        return result;
    }

private:
    QList<QPointer<QObject>> managers;
};

class LedSignalingTest : public testing::Test
{
protected:
    LedSignalingTest() { clearPlatformCalls(); }

    UsedManagers managers;
    OtherDevice other;
    std::unique_ptr<LedSignaling> leds = std::make_unique<LedSignaling>();
};

TEST_F(LedSignalingTest, SignalsForTheGivenSeconds)
{
    leds->startMeascardLedSignaling(30);

    EXPECT_EQ(platformCallTexts(), QStringList{u"SysCfgAccess.startLedEffect(30, 6)"_s});
}

TEST_F(LedSignalingTest, SignalsForTenSecondsWithoutAUsableTime)
{
    for (const int seconds : {0, -5, std::numeric_limits<int>::min()}) {
        clearPlatformCalls();

        leds->startMeascardLedSignaling(seconds);

        EXPECT_EQ(platformCallTexts(), QStringList{u"SysCfgAccess.startLedEffect(10, 6)"_s}) << seconds;
    }
}

TEST_F(LedSignalingTest, AsksTheOtherDeviceByOnePost)
{
    leds->remoteMeascardLedSingaling(30, other.address());
    ASSERT_TRUE(waitUntil([this] { return other.hasRequests(1); }));
    other.answer(0);
    ASSERT_TRUE(waitUntil([this] { return managers.alive() == QList{false}; }));

    QTest::qWait(quietMs);
    EXPECT_EQ(other.requests().size(), 1);
    EXPECT_TRUE(other.requests().first().startsWith("POST / HTTP/1.1\r\n")) << other.requests().first().constData();
    EXPECT_TRUE(other.requests().first().contains("\r\nUser-Agent: QMZ\r\n")) << other.requests().first().constData();
    EXPECT_EQ(other.body(0), ledRequestBody(30));
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(LedSignalingTest, SendsATimeThatIsNotAboveZeroUnchanged)
{
    for (const int seconds : {0, -5}) {
        const qsizetype before = other.requests().size();

        leds->remoteMeascardLedSingaling(seconds, other.address());
        ASSERT_TRUE(waitUntil([&] { return other.hasRequests(before + 1); }));
        other.answer(before);
        ASSERT_TRUE(waitUntil([&] { return !managers.alive().last(); }));

        EXPECT_EQ(other.body(before), ledRequestBody(seconds));
    }
}

TEST_F(LedSignalingTest, UsesThePathInTheAddress)
{
    leds->remoteMeascardLedSingaling(1, other.address() + u"/bus/gate?a=b"_s);
    ASSERT_TRUE(waitUntil([this] { return other.hasRequests(1); }));
    other.answer(0);
    ASSERT_TRUE(waitUntil([this] { return managers.alive() == QList{false}; }));

    EXPECT_TRUE(other.requests().first().startsWith("POST /bus/gate?a=b HTTP/1.1\r\n"));
}

TEST_F(LedSignalingTest, DoesNotFollowARedirect)
{
    for (const char *status : {"301 Moved", "302 Found", "303 See Other", "307 Temporary", "308 Permanent"}) {
        const qsizetype before = other.requests().size();

        leds->remoteMeascardLedSingaling(1, other.address());
        ASSERT_TRUE(waitUntil([&] { return other.hasRequests(before + 1); }));
        other.answer(before, QByteArray("HTTP/1.1 ") + status + "\r\nLocation: http://" + other.address().toLatin1() +
                                 "/elsewhere\r\nContent-Length: 0\r\n\r\n");
        ASSERT_TRUE(waitUntil([&] { return !managers.alive().last(); }));

        QTest::qWait(quietMs);
        EXPECT_EQ(other.requests().size(), before + 1) << status;
    }
}

TEST_F(LedSignalingTest, SendsNothingAgainWhenTheOtherDeviceHangsUp)
{
    other.onRequest = [](QTcpSocket *socket) { socket->disconnectFromHost(); };

    leds->remoteMeascardLedSingaling(1, other.address());
    ASSERT_TRUE(waitUntil([this] { return managers.alive() == QList{false}; }));

    QTest::qWait(quietMs);
    EXPECT_EQ(other.requests().join(), other.requests().first());
}

TEST_F(LedSignalingTest, TakesAnErrorForAnAnswer)
{
    leds->remoteMeascardLedSingaling(1, other.address());
    ASSERT_TRUE(waitUntil([this] { return other.hasRequests(1); }));
    other.answer(0, "HTTP/1.1 500 No\r\nContent-Length: 0\r\n\r\n");

    EXPECT_TRUE(waitUntil([this] { return managers.alive() == QList{false}; }));
}

TEST_F(LedSignalingTest, KeepsNothingOfARequestThatCannotBeMade)
{
    const QStringList addresses{u"127.0.0.1:1"_s,     u""_s,  u"["_s,         u"a b"_s,
                                u"127.0.0.1:99999"_s, u"/"_s, u"no.invalid"_s};
    for (const QString &address : addresses) {
        const qsizetype before = managers.alive().size();

        leds->remoteMeascardLedSingaling(1, address);

        EXPECT_TRUE(waitUntil([&] { return managers.alive().size() > before && !managers.alive().last(); }))
            << qPrintable(address);
    }
}

TEST_F(LedSignalingTest, FirstOfTwoAnswersEndsTheLaterRequestAndLeavesTheEarlierManager)
{
    leds->remoteMeascardLedSingaling(1, other.address());
    leds->remoteMeascardLedSingaling(2, other.address());
    ASSERT_TRUE(waitUntil([this] { return other.hasRequests(1) && other.hasRequests(2); }));

    other.answer(other.body(0) == ledRequestBody(1) ? 0 : 1);

    EXPECT_TRUE(waitUntil([this] { return managers.alive() == QList({true, false}); }));
    QTest::qWait(quietMs);
    EXPECT_EQ(managers.alive(), QList({true, false}));
}

TEST_F(LedSignalingTest, SurvivesEveryAnswerToManyRequests)
{
    constexpr int count = 20;
    for (int i = 1; i <= count; ++i)
        leds->remoteMeascardLedSingaling(i, other.address());
    ASSERT_TRUE(waitUntil([this] {
        for (int i = 1; i <= count; ++i) {
            if (!other.hasRequests(i))
                return false;
        }
        return true;
    }));

    for (int i = 0; i < count; ++i)
        other.answer(i);

    EXPECT_TRUE(waitUntil([this] { return !managers.alive().last(); }));
    QTest::qWait(quietMs);
    EXPECT_EQ(managers.alive().count(false), 1);

    leds->remoteMeascardLedSingaling(0, other.address());
    EXPECT_TRUE(waitUntil([this] { return other.hasRequests(count + 1); }));
    other.answer(count);
    EXPECT_TRUE(waitUntil([this] { return managers.alive().count(false) == 2; }));
}

TEST_F(LedSignalingTest, GoesWhileARequestIsUnderWay)
{
    leds->remoteMeascardLedSingaling(1, other.address());
    ASSERT_TRUE(waitUntil([this] { return other.hasRequests(1); }));

    leds.reset();
    other.answer(0);

    QTest::qWait(quietMs);
    EXPECT_EQ(managers.alive(), QList{true});
}

} // namespace
