// Making the settings real: the interfaces file and the name servers at once, the addresses a little later.

#include "network/NetworkInterface.h"

#include "base/RegularFile.h"
#include "network/InterfacesFile.h"

#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <QDebug>
#include <QTimerEvent>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** Long enough for a client on the network to get its answer before the address changes. */
constexpr int applyDelayMs = 1500;

const char *word(bool value)
{
    return value ? "true" : "false";
}

} // namespace

bool NetworkInterface::saveChanges()
{
    Upstart::stop(u"nmbd"_s, false);

    QFile file;
    if (!openRegularFile(file, u"/etc/network/interfaces"_s, QIODevice::WriteOnly)) {
        qDebug("saveChanges for network interface failed!");
        return false;
    }
    file.write(interfacesHead());
    if (dhcp) {
        setConnmanNameservers(QString());
        file.write(dhcpStanza());
    } else {
        setConnmanNameservers(nameserver);
        file.write(staticStanza({ip.toString(), netmask.toString(), gateway.toString(), nameserver}));
    }
    file.write(interfacesTail());
    file.close();
    ::sync();

    raiseAddressEvent();
    startTimer(applyDelayMs, Qt::PreciseTimer); // a coarse one may come before its time
    return true;
}

void NetworkInterface::raiseAddressEvent()
{
    qDebug() << "debug: dhcp:" << word(dhcp) << " oldDhcp:" << word(oldDhcp) << " ip:" << ip << " old ip:" << oldIp;
    if (!dhcp && oldIp != ip) {
        oldIp = ip;
        qmz::SystemEvent::networkAddressChange(ip.toString(), u"/"_s);
        Upstart::start(u"hostname"_s, false);
    }
    if (dhcp) {
        oldIp = QHostAddress(QHostAddress::AnyIPv4); // any fixed address that follows counts as new
        if (oldDhcp != dhcp)
            qmz::SystemEvent::networkAddressChange(u"DHCP"_s, u"/"_s);
    }
    oldDhcp = dhcp;
}

void NetworkInterface::timerEvent(QTimerEvent *event)
{
    killTimer(event->timerId());
    if (dhcp) {
        const QString refusal = setConnmanMethod(false, u"dhcp"_s);
        qDebug() << "set to dhcp:" << refusal;
        setConnmanMethod(true, u"auto"_s);
        Upstart::stop(u"avahi_2dautoip"_s, false);
    } else {
        const QString refusal = setConnmanManual(false, ip.toString(), netmask.toString(), gateway.toString());
        qDebug() << "set to manual ip:" << refusal;
        Upstart::start(u"avahi_2dautoip"_s, false);
    }
    Q_EMIT saveSettings();
}
