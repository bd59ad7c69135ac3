#include "network/ConnmanService.h"

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

    return connmanSettingsIn(*properties);
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
