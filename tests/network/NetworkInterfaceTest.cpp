// What no client of the daemon can reach: signals within the process, and operations that are there for other parts of
// it.

#include "network/NetworkInterface.h"

#include "Mocks.h"

#include "fake/FakePlatform.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/QtPrinting.h"
#include "support/Syncs.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

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

TEST_F(NetworkInterfaceTest, NewValueIsThereWhenItIsSignalled)
{
    QStringList read;
    const auto note = [&](const char *name) { return [&, name] { read += network.property(name).toString(); }; };
    QObject::connect(&network, &NetworkInterface::ipAddressChanged, &network, note("ipaddress"));
    QObject::connect(&network, &NetworkInterface::netmaskChanged, &network, note("netmask"));
    QObject::connect(&network, &NetworkInterface::gatewayChanged, &network, note("gateway"));
    QObject::connect(&network, &NetworkInterface::dhcpChanged, &network, note("dhcp"));

    network.setProperty("ipaddress", u"10.1.2.3"_s);
    network.setProperty("netmask", u"255.0.0.0"_s);
    network.setProperty("gateway", u"10.0.0.1"_s);
    network.setProperty("dhcp", false);

    EXPECT_EQ(read, (QStringList{u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s, u"false"_s}));
}

TEST_F(NetworkInterfaceTest, RouteHasHalfAMinute)
{
    FakeTools tools;
    tools.add(u"route"_s, "sleep 0.3; echo '0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth0'");
    const Impatience impatience;

    network.getCurrentSettings();

    EXPECT_EQ(impatience.longestLimit(), 30);
    EXPECT_EQ(network.property("gateway"), u"0.0.0.0"_s);
}

TEST_F(NetworkInterfaceTest, EmptyAddressIsNotSignalled)
{
    QSignalSpy ip(&network, &NetworkInterface::ipAddressChanged);

    network.setProperty("ipaddress", QString());

    EXPECT_EQ(ip.count(), 0);
}

TEST_F(NetworkInterfaceTest, EmptyMaskEmptiesTheOneThatIsSetAndIsSignalled)
{
    network.setProperty("netmask", u"255.0.0.0"_s);
    ASSERT_EQ(network.property("netmask"), u"255.0.0.0"_s);
    QSignalSpy netmask(&network, &NetworkInterface::netmaskChanged);

    network.setProperty("netmask", QString());

    EXPECT_EQ(network.property("netmask"), QString());
    EXPECT_EQ(netmask, (QList<QVariantList>{{QString()}}));
}

TEST_F(NetworkInterfaceTest, NameServerOfMoreThanAMebibyteIsNotTaken)
{
    const QString longest(1024 * 1024, u'x');

    network.setProperty("nameserver", longest);
    network.setProperty("nameserver", longest + u'x');

    EXPECT_EQ(network.property("nameserver"), longest);
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
    ASSERT_EQ(ConnmanService().setConnmanManual(false, u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s), QString());

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

TEST_F(NetworkInterfaceTest, SavedFileIsSyncedWholeBeforeTheAddressIsTold)
{
    QByteArrayList files;
    QList<QStringList> calls;
    {
        const LookAtSyncs look([&] {
            files += readFile(u"/etc/network/interfaces"_s);
            calls += platformCallTexts();
        });

        ASSERT_TRUE(network.saveChanges());
    }

    ASSERT_EQ(files.size(), 1);
    EXPECT_TRUE(files.first().endsWith("pre-up /etc/network/can-pre-up\n")) << files.first().toStdString();
    EXPECT_EQ(calls, QList<QStringList>{{u"Upstart.stop(\"nmbd\", false)"_s}});
}

TEST_F(NetworkInterfaceTest, HostNameHasAShortCut)
{
    EXPECT_EQ(network.hostname(), network.getHostname());
    EXPECT_FALSE(network.hostname().isEmpty());
}

TEST_F(NetworkInterfaceTest, WithoutAnUpdateManagerThereIsNoHardwareAddress)
{
    EXPECT_EQ(network.property("macaddress"), QString());
}

} // namespace
