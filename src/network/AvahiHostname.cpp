#include "network/AvahiHostname.h"

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

QString announcedHostname()
{
    return QString::fromLatin1(toAscii(readKernelHostname().value_or(defaultHostname)));
}

void announceHostname()
{
    QDBusMessage call = avahiCall(u"SetHostName"_s);
    call << announcedHostname();
    QDBusConnection::systemBus().send(call);
}

QString getHostnameFqdn()
{
    const QDBusReply<QString> reply = QDBusConnection::systemBus().call(avahiCall(u"GetHostNameFqdn"_s), QDBus::Block);
    return reply.isValid() ? reply.value() : u"qmz.local"_s;
}
