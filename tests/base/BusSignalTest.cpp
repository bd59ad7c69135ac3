#include "base/BusSignal.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

const QString path = u"/somewhere"_s;
const QString interface = u"net.example.Thing"_s;

/** Notes what it hears. */
class Listener : public QObject
{
    Q_OBJECT

public:
    QStringList heard;

public Q_SLOTS:
    void hear(const QString &text) { heard.append(text); }
    void hearAnything() { heard.append(u"something"_s); }
};

class BusSignalTest : public testing::Test
{
protected:
    BusSignalTest() : sender(QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"sender"_s)) {}
    ~BusSignalTest() override { QDBusConnection::disconnectFromBus(u"sender"_s); }

    void send(const QVariantList &arguments, const QString &from = path, const QString &name = u"Told"_s)
    {
        QDBusMessage signal = QDBusMessage::createSignal(from, interface, name);
        signal.setArguments(arguments);
        letBusCatchUp();
        // Qt puts off what comes before the first events, and lets what comes next overtake it.
        QCoreApplication::processEvents();
        EXPECT_TRUE(sender.send(signal));
    }

    QDBusConnection sender;
    Listener listener;
};

TEST_F(BusSignalTest, SlotIsCalledForEachOne)
{
    subscribe({path, interface, u"Told"_s, u"s"_s}, &listener, SLOT(hear(QString)), "");

    send({u"one"_s});
    send({u"two"_s});

    ASSERT_TRUE(QTest::qWaitFor([&] { return listener.heard.size() == 2; }));
    EXPECT_THAT(listener.heard, ElementsAre(u"one"_s, u"two"_s));
}

TEST_F(BusSignalTest, OthersAreNotHeard)
{
    subscribe({path, interface, u"Told"_s, u"s"_s}, &listener, SLOT(hear(QString)), "");

    send({1});
    send({});
    send({u"a"_s, u"b"_s});
    send({u"from elsewhere"_s}, u"/elsewhere"_s);
    send({u"of another name"_s}, path, u"Asked"_s);
    send({u"the last"_s});

    ASSERT_TRUE(QTest::qWaitFor([&] { return !listener.heard.isEmpty(); }));
    EXPECT_THAT(listener.heard, ElementsAre(u"the last"_s));
}

TEST_F(BusSignalTest, WithoutPathAndSignatureAnyoneIsHeard)
{
    subscribe({{}, interface, u"Told"_s, {}}, &listener, SLOT(hearAnything()), "");

    send({1});
    send({u"a"_s, u"b"_s}, u"/elsewhere"_s);

    EXPECT_TRUE(QTest::qWaitFor([&] { return listener.heard.size() == 2; }));
}

TEST_F(BusSignalTest, RefusalEndsTheProcessWithItsWords)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // the bus has threads

    EXPECT_DEATH(
        subscribe({path, interface, u"Told"_s, u"s"_s}, &listener, SLOT(missing(QString)), "no such slot, 100 %"),
        "no such slot, 100 %");
}

} // namespace

#include "BusSignalTest.moc"
