#include "network/ConnmanService.h"

#include "network/AddressText.h"
#include "network/ConnmanReply.h"

#include <QDBusConnection>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDebug>

using namespace Qt::StringLiterals;

namespace {

const QString connmanName = u"net.connman"_s;
const QString serviceInterface = u"net.connman.Service"_s;

QDBusMessage callConnman(const QString &path, const QString &interface, const QString &method,
                         const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(connmanName, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::systemBus().call(call, QDBus::Block);
}

QString configurationProperty(bool ipv6)
{
    return ipv6 ? u"IPv6.Configuration"_s : u"IPv4.Configuration"_s;
}

/** @return whether there is an address; without one nothing else counts */
bool parseConnmanSettings(const QVariantMap &properties, ConnmanSettings &settings)
{
    const QString address = toStringOrNull(properties.value(u"Address"_s));
    if (address.isEmpty())
        return false;

    settings.address = parseAddress(address);
    qDebug() << *settings.address;
    if (properties.contains(u"Netmask"_s)) {
        settings.netmask = parseAddress(toStringOrNull(properties.value(u"Netmask"_s)));
        qDebug() << *settings.netmask;
    }
    if (properties.contains(u"Method"_s)) {
        settings.dhcp = toStringOrNull(properties.value(u"Method"_s)) == "dhcp"_L1;
        qDebug(*settings.dhcp ? "true" : "false");
    }
    return true;
}

/** The first of the name servers; nothing when what stands there is no list of texts. */
std::optional<QString> firstNameserver(const QVariantMap &properties)
{
    const QVariant nameservers = properties.value(u"Nameservers"_s);
    if (nameservers.metaType() != QMetaType::fromType<QStringList>())
        return std::nullopt;
    return nameservers.toStringList().value(0);
}

} // namespace

void ConnmanService::findConnmanService()
{
    const QDBusMessage reply =
        callConnman(u"/net/connman/service"_s, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return;
    const QString found = ethernetServicePath(toStringOrNull(reply.arguments().value(0)));
    if (!found.isEmpty())
        servicePath = found;
}

bool ConnmanService::findService()
{
    if (servicePath.isEmpty())
        findConnmanService();
    return !servicePath.isEmpty();
}

std::optional<QVariantMap> ConnmanService::readProperties() const
{
    const QDBusReply<QVariantMap> reply = callConnman(servicePath, serviceInterface, u"GetProperties"_s);
    return reply.isValid() ? std::optional(reply.value()) : std::nullopt;
}

ConnmanSettings ConnmanService::getConnmanNetworkSettings()
{
    if (!findService())
        return {};

    const std::optional<QVariantMap> properties = readProperties();
    qDebug("getConnmanNetworkSettings: ");
    if (!properties) {
        qWarning("NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed.");
        return {};
    }

    // With fixed addresses the configuration holds them, also while the port is down. With DHCP it holds none, and the
    // live values count.
    ConnmanSettings settings;
    if (const auto configured = properties->constFind(u"IPv4.Configuration"_s); configured != properties->cend()) {
        if (!parseConnmanSettings(toMap(*configured), settings) &&
            !parseConnmanSettings(toMap(properties->value(u"IPv4"_s)), settings))
            parseConnmanSettings(toMap(properties->value(u"IPv6"_s)), settings);
    }
    settings.nameserver = firstNameserver(*properties);
    return settings;
}

QString ConnmanService::getConnmanNameserver()
{
    if (!findService())
        return {};

    const std::optional<QVariantMap> properties = readProperties();
    if (!properties) {
        qWarning("NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed.");
        return {};
    }
    return firstNameserver(*properties).value_or(QString());
}

QDBusMessage ConnmanService::setProperty(const QString &name, const QVariant &value) const
{
    return callConnman(servicePath, serviceInterface, u"SetProperty"_s,
                       {name, QVariant::fromValue(QDBusVariant(value))});
}

void ConnmanService::setConnmanNameservers(const QString &server)
{
    if (!findService())
        return;
    setProperty(u"Nameservers.Configuration"_s, server.isEmpty() ? QStringList() : QStringList(server));
}

QString ConnmanService::setConnmanMethod(bool ipv6, const QString &method)
{
    if (!findService())
        return u"no service"_s;
    return setProperty(configurationProperty(ipv6), QVariantMap{{u"Method"_s, method}}).errorMessage();
}

QString ConnmanService::setConnmanManual(bool ipv6, const QString &address, const QString &mask, const QString &router)
{
    if (!findService())
        return u"no service"_s;
    const QVariantMap configuration = {
        {u"Method"_s, u"manual"_s}, {u"Address"_s, address}, {u"Netmask"_s, mask}, {u"Gateway"_s, router}};
    return setProperty(configurationProperty(ipv6), configuration).errorMessage();
}
