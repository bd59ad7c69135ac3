// connman's view of the port: finding its service, reading its settings, giving it new ones.

#include "network/NetworkInterface.h"

#include "base/ChildProcess.h"
#include "network/AddressText.h"
#include "network/ConnmanReply.h"
#include "network/RoutingTable.h"

#include <QDBusConnection>
#include <QDBusReply>
#include <QDebug>
#include <QProcess>

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

} // namespace

void NetworkInterface::findConnmanService()
{
    const QDBusMessage reply =
        callConnman(u"/net/connman/service"_s, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return;
    const QString found = ethernetServicePath(stringIn(reply.arguments().value(0)));
    if (!found.isEmpty())
        servicePath = found;
}

bool NetworkInterface::findService()
{
    if (servicePath.isEmpty())
        findConnmanService();
    return !servicePath.isEmpty();
}

bool NetworkInterface::readConnmanProperties(QVariantMap &properties) const
{
    const QDBusReply<QVariantMap> reply = callConnman(servicePath, serviceInterface, u"GetProperties"_s);
    properties = reply.value();
    return reply.isValid();
}

void NetworkInterface::getConnmanNetworkSettings()
{
    if (!findService())
        return;

    QVariantMap properties;
    const bool valid = readConnmanProperties(properties);
    qDebug("getConnmanNetworkSettings: ");
    if (!valid) {
        qWarning("NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed.");
        return;
    }

    // With fixed addresses the configuration holds them, also while the port is down. With DHCP it holds none, and the
    // live values count.
    if (const auto configured = properties.constFind(u"IPv4.Configuration"_s); configured != properties.cend()) {
        if (!parseConnmanSettings(mapIn(*configured)) && !parseConnmanSettings(mapIn(properties.value(u"IPv4"_s))))
            parseConnmanSettings(mapIn(properties.value(u"IPv6"_s)));
    }

    const QVariant nameservers = properties.value(u"Nameservers"_s);
    if (nameservers.metaType() == QMetaType::fromType<QStringList>())
        nameserver = nameservers.toStringList().value(0);
}

bool NetworkInterface::parseConnmanSettings(const QVariantMap &settings)
{
    const QString address = stringIn(settings.value(u"Address"_s));
    if (address.isEmpty())
        return false;

    ip = parseAddress(address);
    qDebug() << ip;
    if (settings.contains(u"Netmask"_s)) {
        netmask = parseAddress(stringIn(settings.value(u"Netmask"_s)));
        qDebug() << netmask;
    }
    if (settings.contains(u"Method"_s)) {
        dhcp = stringIn(settings.value(u"Method"_s)) == "dhcp"_L1;
        qDebug(dhcp ? "true" : "false");
    }
    return true;
}

QString NetworkInterface::getConnmanNameserver()
{
    if (!findService())
        return {};

    QVariantMap properties;
    if (!readConnmanProperties(properties)) {
        qWarning("NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed.");
        return {};
    }
    const QVariant nameservers = properties.value(u"Nameservers"_s);
    return nameservers.metaType() == QMetaType::fromType<QStringList>() ? nameservers.toStringList().value(0)
                                                                        : QString();
}

void NetworkInterface::getCurrentSettings()
{
    Q_EMIT getSettings();
    getConnmanNetworkSettings();

    QProcess route;
    runTool(route, u"route"_s, {u"-n"_s});
    gateway = QHostAddress(QHostAddress::AnyIPv4);
    for (const QString &found : ethernetGateways(route.readAllStandardOutput())) {
        qDebug() << "gateway:" << found;
        gateway = parseAddress(found);
    }
}

QDBusMessage NetworkInterface::setConnmanProperty(const QString &name, const QVariant &value) const
{
    return callConnman(servicePath, serviceInterface, u"SetProperty"_s,
                       {name, QVariant::fromValue(QDBusVariant(value))});
}

void NetworkInterface::setConnmanNameservers(const QString &server)
{
    if (!findService())
        return;
    setConnmanProperty(u"Nameservers.Configuration"_s, server.isEmpty() ? QStringList() : QStringList(server));
}

QString NetworkInterface::setConnmanMethod(bool ipv6, const QString &method)
{
    if (!findService())
        return u"no service"_s;
    return setConnmanProperty(configurationProperty(ipv6), QVariantMap{{u"Method"_s, method}}).errorMessage();
}

QString NetworkInterface::setConnmanManual(bool ipv6, const QString &address, const QString &mask,
                                           const QString &router)
{
    if (!findService())
        return u"no service"_s;
    const QVariantMap configuration = {
        {u"Method"_s, u"manual"_s}, {u"Address"_s, address}, {u"Netmask"_s, mask}, {u"Gateway"_s, router}};
    return setConnmanProperty(configurationProperty(ipv6), configuration).errorMessage();
}
