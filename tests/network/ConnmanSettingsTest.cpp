#include "network/ConnmanSettings.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVirtualObject>

using namespace Qt::StringLiterals;

namespace {

/** Keeps the map that it is called with. */
class Receiver : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        received = qdbus_cast<QVariantMap>(message.arguments().value(0));
        return connection.send(message.createReply());
    }

    QVariantMap received;
};

/** The same properties as they come over the bus: maps within them are of another type then. */
QVariantMap overTheBus(const QVariantMap &properties)
{
    Receiver receiver;
    EXPECT_TRUE(QDBusConnection::systemBus().registerVirtualObject(u"/receiver"_s, &receiver));
    BusClient().call(u"/receiver"_s, u"test.Receiver"_s, u"take"_s, {properties});
    QDBusConnection::systemBus().unregisterObject(u"/receiver"_s);
    return receiver.received;
}

const QString configured = u"IPv4.Configuration"_s;
const QVariantMap byDhcp{{u"Method"_s, u"dhcp"_s}};
const QVariantMap lease{{u"Method"_s, u"dhcp"_s}, {u"Address"_s, u"10.0.0.7"_s}, {u"Netmask"_s, u"255.0.0.0"_s}};
const QVariantMap fixed{{u"Method"_s, u"manual"_s}, {u"Address"_s, u"10.1.2.3"_s}, {u"Netmask"_s, u"255.255.0.0"_s}};

struct Row
{
    const char *title;
    QVariantMap properties;
    std::optional<QString> address;
    std::optional<QString> netmask;
    std::optional<bool> dhcp;
};

const Row rows[] = {
    {"a lease", {{configured, byDhcp}, {u"IPv4"_s, lease}}, u"10.0.0.7"_s, u"255.0.0.0"_s, true},
    {"a fixed address ahead of a lease",
     {{configured, fixed}, {u"IPv4"_s, lease}},
     u"10.1.2.3"_s,
     u"255.255.0.0"_s,
     false},
    {"IPv6 alone",
     {{configured, byDhcp}, {u"IPv6"_s, QVariantMap{{u"Address"_s, u"fe80::1"_s}}}},
     u"fe80::1"_s,
     {},
     {}},
    {"no configuration", {{u"IPv4"_s, lease}}, {}, {}, {}},
    {"no address anywhere", {{configured, byDhcp}, {u"IPv4"_s, byDhcp}}, {}, {}, {}},
    {"an address that is none", {{configured, QVariantMap{{u"Address"_s, u"10.1"_s}}}}, u""_s, {}, {}},
    {"an address of another type", {{configured, QVariantMap{{u"Address"_s, 10}}}}, {}, {}, {}},
    {"a mask of another type",
     {{configured, QVariantMap{{u"Address"_s, u"10.0.0.1"_s}, {u"Netmask"_s, true}}}},
     u"10.0.0.1"_s,
     u""_s,
     {}},
    {"a configuration that is a text",
     {{configured, u"manual"_s}, {u"IPv4"_s, lease}},
     u"10.0.0.7"_s,
     u"255.0.0.0"_s,
     true},
    {"a configuration that is a list", {{configured, QVariantList{fixed}}}, {}, {}, {}},
    {"nothing", {}, {}, {}, {}},
};

std::optional<QString> text(const std::optional<QHostAddress> &address)
{
    return address ? std::optional(address->toString()) : std::nullopt;
}

TEST(ConnmanSettingsTest, AreFoundAmongTheProperties)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);

        const ConnmanSettings settings = connmanSettingsIn(overTheBus(row.properties));

        EXPECT_EQ(text(settings.address), row.address);
        EXPECT_EQ(text(settings.netmask), row.netmask);
        EXPECT_EQ(settings.dhcp, row.dhcp);
        EXPECT_FALSE(settings.nameserver);
    }
}

TEST(ConnmanSettingsTest, FirstNameServerCountsInAListOfTexts)
{
    const QString name = u"Nameservers"_s;

    EXPECT_EQ(firstNameserver({{name, QStringList{u"10.0.0.1"_s, u"10.0.0.2"_s}}}), u"10.0.0.1"_s);
    EXPECT_EQ(firstNameserver({{name, QStringList()}}), QString());
    EXPECT_FALSE(firstNameserver({{name, u"10.0.0.1"_s}}));
    EXPECT_FALSE(firstNameserver({}));
    EXPECT_EQ(connmanSettingsIn({{name, QStringList{u"10.0.0.1"_s}}}).nameserver, u"10.0.0.1"_s);
}

TEST(ConnmanSettingsTest, NameServerOfMoreThanAMebibyteIsNone)
{
    const QString longest(1024 * 1024, u'x');

    EXPECT_EQ(firstNameserver({{u"Nameservers"_s, QStringList{longest}}}), longest);
    EXPECT_EQ(firstNameserver({{u"Nameservers"_s, QStringList{longest + u'x'}}}), QString());
}

} // namespace
