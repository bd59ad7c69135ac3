// What follows from connman's state: settings read anew, name services started and stopped.

#include "network/NetworkInterface.h"

#include "network/ConnmanReply.h"

#include <qmz/Upstart.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

using namespace Qt::StringLiterals;

void NetworkInterface::checkConnman()
{
    if (!QDBusConnection::systemBus().interface()->isServiceRegistered(u"net.connman"_s))
        return;

    getCurrentSettings();
    oldDhcp = dhcp;
    if (!dhcp) {
        const Upstart jobs; // a platform may set itself up in it
        Upstart::start(u"avahi_2dautoip"_s, false);
    }
    Q_EMIT connmanStarted(true);
}

void NetworkInterface::connmanServicePropertyChanged(const QString &name, const QDBusVariant &map)
{
    if (name != "State"_L1)
        return;
    const QString state = stringIn(map.variant());
    if (state == "online"_L1 || state == "ready"_L1)
        connmanOnline();
    else if (state == "idle"_L1)
        connmanIdle();
}

void NetworkInterface::connmanOnline()
{
    getCurrentSettings();
    Q_EMIT connmanStarted(true);
    qDebug("connman state now online, restarting name resolution services");
    if (dhcp)
        Upstart::stop(u"avahi_2dautoip"_s, false);
    else
        Upstart::start(u"avahi_2dautoip"_s, false);
    Upstart::restartNameservices();
    Upstart::start(u"avahi_2ddaemon"_s, false);
    hostnameChanged(); // for the Avahi daemon that has just been started
}

void NetworkInterface::connmanIdle()
{
    Q_EMIT connmanStarted(false);
    Upstart::start(u"hostname"_s, false);
    Upstart::stop(u"avahi_2ddaemon"_s, false);
    Upstart::stop(u"nmbd"_s, false);
}
