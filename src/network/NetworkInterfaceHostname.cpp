// The host name that Avahi announces on the local network.

#include "network/NetworkInterface.h"

#include "base/AsciiText.h"
#include "base/KernelHostname.h"

#include <QDBusConnection>
#include <QDBusReply>

using namespace Qt::StringLiterals;

namespace {

QDBusMessage avahiCall(const QString &method)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.Avahi"_s, u"/"_s, u"org.freedesktop.Avahi.Server"_s,
                                          method);
}

} // namespace

QString NetworkInterface::getHostname() const
{
    const QString name = readKernelHostname().value_or(defaultHostname);
    return QString::fromLatin1(toAscii(name));
}

QString NetworkInterface::hostname() const
{
    return getHostname();
}

void NetworkInterface::hostnameChanged()
{
    QDBusMessage call = avahiCall(u"SetHostName"_s);
    call << getHostname();
    QDBusConnection::systemBus().send(call);
}

QString NetworkInterface::getHostnameFqdn() const
{
    const QDBusReply<QString> reply = QDBusConnection::systemBus().call(avahiCall(u"GetHostNameFqdn"_s), QDBus::Block);
    return reply.isValid() ? reply.value() : u"qmz.local"_s;
}
