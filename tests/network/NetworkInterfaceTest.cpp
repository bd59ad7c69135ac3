// What no client of the daemon can reach: signals within the process, and operations that are there for other parts of
// it. connman and Avahi are mocks in processes of their own.

#include "network/NetworkInterface.h"

#include "fake/FakePlatform.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::Contains;

namespace {

const QString servicePath = u"/net/connman/service/ethernet_001122334455_cable"_s;

/** A python-dbusmock template at work. */
class Mock
{
public:
    Mock(const QString &file, const QString &path, const QString &interface, const QString &method)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(u"/usr/bin/python3"_s,
                      {u"-m"_s, u"dbusmock"_s, u"--system"_s, u"--template"_s, QStringLiteral(MOCKS) + u'/' + file});
        const bool answers = QTest::qWaitFor(
            [&] {
                return QDBusConnection::systemBus()
                           .call(QDBusMessage::createMethodCall(name(file), path, interface, method))
                           .type() == QDBusMessage::ReplyMessage;
            },
            20000);
        EXPECT_TRUE(answers) << qPrintable(file);
    }

    ~Mock()
    {
        process.kill();
        process.waitForFinished();
    }

    Q_DISABLE_COPY_MOVE(Mock)

private:
    static QString name(const QString &file)
    {
        return file.startsWith(u"connman") ? u"net.connman"_s : u"org.freedesktop.Avahi"_s;
    }

    QProcess process;
};

struct Connman : Mock
{
    Connman() : Mock(u"connman.py"_s, servicePath, u"net.connman.Service"_s, u"GetProperties"_s) {}

    /** What SetProperty was called with: the property's name and its value. */
    static QList<QVariantList> propertiesSet()
    {
        const QDBusReply<QVariantMap> reply = QDBusConnection::systemBus().call(QDBusMessage::createMethodCall(
            u"net.connman"_s, servicePath, u"net.connman.Service"_s, u"GetProperties"_s));
        QList<QVariantList> set;
        for (const QString &name : {u"IPv6.Configuration"_s, u"IPv4.Configuration"_s})
            set << QVariantList{name, qdbus_cast<QVariantMap>(reply.value().value(name))};
        return set;
    }
};

struct Avahi : Mock
{
    Avahi() : Mock(u"avahi.py"_s, u"/"_s, u"org.freedesktop.Avahi.Server"_s, u"GetHostName"_s) {}
};

class NetworkInterfaceTest : public testing::Test
{
protected:
    NetworkInterfaceTest() { resetFakePlatform(); }

    NetworkInterface network{nullptr};
};

TEST_F(NetworkInterfaceTest, WritesAreSignalledAsTheyCame)
{
    QSignalSpy ip(&network, &NetworkInterface::ipAddressChanged);
    QSignalSpy netmask(&network, &NetworkInterface::netmaskChanged);
    QSignalSpy gateway(&network, &NetworkInterface::gatewayChanged);
    QSignalSpy dhcp(&network, &NetworkInterface::dhcpChanged);

    network.setProperty("ipaddress", u"no address"_s);
    network.setProperty("netmask", u" 255.0.0.0"_s);
    network.setProperty("gateway", QString());
    network.setProperty("dhcp", true);

    EXPECT_EQ(ip, (QList<QVariantList>{{u"no address"_s}}));
    EXPECT_EQ(netmask, (QList<QVariantList>{{u" 255.0.0.0"_s}}));
    EXPECT_EQ(gateway, (QList<QVariantList>{{QString()}}));
    EXPECT_EQ(dhcp, (QList<QVariantList>{{true}})); // as it was, and told all the same
}

TEST_F(NetworkInterfaceTest, EmptyAddressIsNotSignalled)
{
    QSignalSpy ip(&network, &NetworkInterface::ipAddressChanged);

    network.setProperty("ipaddress", QString());

    EXPECT_EQ(ip.count(), 0);
}

TEST_F(NetworkInterfaceTest, ReadingAsksForTheBootEnvironmentFirst)
{
    network.setProperty("gateway", u"10.0.0.1"_s);
    QString gatewayThen;
    QObject::connect(&network, &NetworkInterface::getSettings, &network,
                     [&] { gatewayThen = network.property("gateway").toString(); });

    network.getCurrentSettings();

    EXPECT_EQ(gatewayThen, u"10.0.0.1"_s);
    EXPECT_EQ(network.property("gateway"), u"0.0.0.0"_s);
}

TEST_F(NetworkInterfaceTest, OnlineAndIdleAreSignalled)
{
    QSignalSpy started(&network, &NetworkInterface::connmanStarted);

    for (const char *state : {"ready", "online", "idle", "failure"})
        network.connmanServicePropertyChanged(u"State"_s, QDBusVariant(QString::fromLatin1(state)));

    EXPECT_EQ(started, (QList<QVariantList>{{true}, {true}, {false}}));
}

TEST_F(NetworkInterfaceTest, OnlineIsSignalledAfterTheReadAndBeforeTheJobs)
{
    const Connman connman;
    QString readBefore;
    QString readThen;
    QStringList jobsThen{u"not signalled"_s};
    QObject::connect(&network, &NetworkInterface::getSettings, &network,
                     [&] { readBefore = network.property("ipaddress").toString(); });
    QObject::connect(&network, &NetworkInterface::connmanStarted, &network, [&] {
        readThen = network.property("ipaddress").toString();
        jobsThen = platformCallTexts();
    });

    network.connmanServicePropertyChanged(u"State"_s, QDBusVariant(u"ready"_s));

    EXPECT_EQ(readBefore, QString());
    EXPECT_EQ(readThen, u"192.168.10.77"_s);
    EXPECT_EQ(jobsThen, QStringList());
    EXPECT_EQ(platformCallTexts().size(), 3);
}

TEST_F(NetworkInterfaceTest, IdleIsSignalledBeforeTheJobsAndReadsNothing)
{
    QSignalSpy read(&network, &NetworkInterface::getSettings);
    QStringList jobsThen{u"not signalled"_s};
    QObject::connect(&network, &NetworkInterface::connmanStarted, &network, [&] { jobsThen = platformCallTexts(); });

    network.connmanServicePropertyChanged(u"State"_s, QDBusVariant(u"idle"_s));

    EXPECT_EQ(jobsThen, QStringList());
    EXPECT_EQ(platformCallTexts().size(), 3);
    EXPECT_EQ(read.count(), 0);
}

TEST_F(NetworkInterfaceTest, ApplyIsSignalledAfterTheJob)
{
    QStringList jobsThen;
    QObject::connect(&network, &NetworkInterface::saveSettings, &network, [&] { jobsThen = platformCallTexts(); });
    ASSERT_TRUE(network.saveChanges());

    ASSERT_TRUE(QTest::qWaitFor([&] { return !jobsThen.isEmpty(); }, 20000));

    EXPECT_EQ(jobsThen.last(), u"Upstart.stop(\"avahi_2dautoip\", false)"_s);
}

TEST_F(NetworkInterfaceTest, StartUpIsSignalledOnlyWithConnman)
{
    QSignalSpy started(&network, &NetworkInterface::connmanStarted);
    network.checkConnman();
    EXPECT_EQ(started.count(), 0);

    const Connman connman;
    network.checkConnman();
    EXPECT_EQ(started, (QList<QVariantList>{{true}}));
}

TEST_F(NetworkInterfaceTest, StartUpWithFixedAddressesMakesAnUpstartBeforeItStartsTheJob)
{
    const Connman connman;
    ASSERT_EQ(network.setConnmanManual(false, u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s), QString());

    network.checkConnman();

    EXPECT_EQ(platformCallTexts(),
              (QStringList{u"Upstart.Upstart()"_s, u"Upstart.start(\"avahi_2dautoip\", false)"_s}));
}

TEST_F(NetworkInterfaceTest, StartUpWithDhcpTouchesNoJob)
{
    const Connman connman;

    network.checkConnman();

    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(NetworkInterfaceTest, EachSaveIsAppliedAndSignalledOnce)
{
    QSignalSpy saved(&network, &NetworkInterface::saveSettings);

    ASSERT_TRUE(network.saveChanges());
    ASSERT_TRUE(network.saveChanges());
    EXPECT_EQ(saved.count(), 0);

    EXPECT_TRUE(QTest::qWaitFor([&] { return saved.count() == 2; }, 20000));
    EXPECT_EQ(platformCallTexts().count(u"Upstart.stop(\"avahi_2dautoip\", false)"_s), 2);
    EXPECT_FALSE(QTest::qWaitFor([&] { return saved.count() > 2; }, 2000)) << "a timer has fired twice";
}

TEST_F(NetworkInterfaceTest, FirstNameServerComesStraightFromConnman)
{
    EXPECT_EQ(network.getConnmanNameserver(), QString());

    const Connman connman;
    EXPECT_EQ(network.getConnmanNameserver(), u"192.168.10.1"_s);
    EXPECT_EQ(network.property("nameserver"), QString());
}

TEST_F(NetworkInterfaceTest, NameServerThatConnmanFailsToTellIsLoggedAndEmpty)
{
    {
        const Connman connman;
        ASSERT_EQ(network.getConnmanNameserver(), u"192.168.10.1"_s);
    }
    const Messages messages;

    EXPECT_EQ(network.getConnmanNameserver(), QString());

    EXPECT_THAT(
        messages.texts(),
        Contains(u"NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed."_s));
}

TEST_F(NetworkInterfaceTest, BothFamiliesOfAddressesCanBeSet)
{
    EXPECT_EQ(network.setConnmanManual(true, u"a"_s, u"b"_s, u"c"_s), u"no service"_s);
    EXPECT_EQ(network.setConnmanMethod(true, u"auto"_s), u"no service"_s);

    const Connman connman;
    EXPECT_EQ(network.setConnmanManual(true, u"2001:db8::7"_s, u"64"_s, u"2001:db8::1"_s), QString());
    EXPECT_EQ(network.setConnmanMethod(false, u"off"_s), QString());

    const QVariantMap manual{{u"Method"_s, u"manual"_s},
                             {u"Address"_s, u"2001:db8::7"_s},
                             {u"Netmask"_s, u"64"_s},
                             {u"Gateway"_s, u"2001:db8::1"_s}};
    const QVariantMap off{{u"Method"_s, u"off"_s}};
    EXPECT_EQ(Connman::propertiesSet(),
              (QList<QVariantList>{{u"IPv6.Configuration"_s, manual}, {u"IPv4.Configuration"_s, off}}));
}

TEST_F(NetworkInterfaceTest, FullHostNameIsAvahisOrADefault)
{
    EXPECT_EQ(network.getHostnameFqdn(), u"qmz.local"_s);

    const Avahi avahi;
    EXPECT_EQ(network.getHostnameFqdn(), u"unnamed.local"_s);
}

TEST_F(NetworkInterfaceTest, HostNameHasAShortCut)
{
    EXPECT_EQ(network.hostname(), network.getHostname());
    EXPECT_FALSE(network.hostname().isEmpty());
}

TEST_F(NetworkInterfaceTest, HostNameIsAscii)
{
    const QByteArray name = "m\xc3\xbchle-\xe2\x82\xac\xff";
    ASSERT_EQ(::sethostname(name.constData(), static_cast<size_t>(name.size())), 0);

    EXPECT_EQ(network.getHostname(), u"m?hle-??"_s);
}

TEST_F(NetworkInterfaceTest, WithoutAnUpdateManagerThereIsNoHardwareAddress)
{
    EXPECT_EQ(network.property("macaddress"), QString());
}

} // namespace
