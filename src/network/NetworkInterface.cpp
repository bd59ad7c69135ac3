#include "network/NetworkInterface.h"

#include "base/BusSignal.h"
#include "base/BusText.h"
#include "base/ChildProcess.h"
#include "base/KernelHostname.h"
#include "base/RegularFile.h"
#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"
#include "network/AddressText.h"
#include "network/AvahiHostname.h"
#include "network/ConnmanReply.h"
#include "network/InterfacesFile.h"
#include "network/RoutingTable.h"

#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
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

NetworkInterface::NetworkInterface(QObject *parent)
    : QObject(parent),
      // Nested maps come in as the one type, variants go out and come in as the other. A slot that takes a type which
      // is not registered is silently left out of the bus and never called.
      argumentTypeId(qRegisterMetaType<QDBusArgument>("QDBusArgument")),
      variantTypeId(qRegisterMetaType<QDBusVariant>("QDBusVariant")),
      hostnameWatcher({kernelHostnamePath}, nullptr)
{
    connect(&hostnameWatcher, &QFileSystemWatcher::fileChanged, this, &NetworkInterface::hostnameChanged);

    // Every service, as that of the port is not known yet.
    subscribe({{}, u"net.connman.Service"_s, u"PropertyChanged"_s, u"sv"_s}, this,
              SLOT(connmanServicePropertyChanged(QString, QDBusVariant)), "Connman property connect failed!");

    hostnameChanged();
}

// The values in work

void NetworkInterface::setIpText(const QString &text)
{
    if (text.isEmpty())
        return;
    ip = parseAddress(text);
    Q_EMIT ipAddressChanged(text);
}

void NetworkInterface::setNetmaskText(const QString &text)
{
    netmask = parseAddress(text);
    Q_EMIT netmaskChanged(text);
}

void NetworkInterface::setGatewayText(const QString &text)
{
    gateway = parseAddress(text);
    Q_EMIT gatewayChanged(text);
}

void NetworkInterface::setDhcp(bool wanted)
{
    dhcp = wanted;
    Q_EMIT dhcpChanged(wanted);
}

void NetworkInterface::setNameserver(const QString &text)
{
    if (text.size() <= maxBusText)
        nameserver = text;
}

QString NetworkInterface::macAddress() const
{
    BootEnvironment *const environment = bootEnvironmentOnBus();
    if (!environment)
        return {};
    // Not by ethernetAddress(), which makes a main store where there is none.
    environment->lookupConfig(mainConfig);
    return boundedText(environment->getEnv(u"eth0.ethaddr"_s));
}

QString NetworkInterface::getHostname() const
{
    return announcedHostname();
}

void NetworkInterface::hostnameChanged()
{
    announceHostname();
}

void NetworkInterface::readConnman()
{
    const ConnmanSettings settings = connman.getConnmanNetworkSettings();
    ip = settings.address.value_or(ip);
    netmask = settings.netmask.value_or(netmask);
    dhcp = settings.dhcp.value_or(dhcp);
    nameserver = settings.nameserver.value_or(nameserver);
}

void NetworkInterface::getCurrentSettings()
{
    Q_EMIT getSettings();
    readConnman();

    const QByteArray routes = toolOutput(u"route"_s, {u"-n"_s});
    gateway = QHostAddress(QHostAddress::AnyIPv4);
    for (const QString &found : ethernetGateways(routes)) {
        qDebug() << "gateway:" << found;
        gateway = parseAddress(found);
    }
}

// Making them real: the interfaces file and the name servers at once, the addresses a little later

bool NetworkInterface::saveChanges()
{
    Upstart::stop(u"nmbd"_s, false);

    QFile file;
    if (!openRegularFile(file, interfacesPath, QIODevice::WriteOnly)) {
        qDebug("saveChanges for network interface failed!");
        return false;
    }
    file.write(interfacesHead());
    if (dhcp) {
        connman.setConnmanNameservers(QString());
        file.write(dhcpStanza());
    } else {
        connman.setConnmanNameservers(nameserver);
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
        const QString refusal = connman.setConnmanMethod(false, u"dhcp"_s);
        qDebug() << "set to dhcp:" << refusal;
        connman.setConnmanMethod(true, u"auto"_s);
        Upstart::stop(u"avahi_2dautoip"_s, false);
    } else {
        const QString refusal = connman.setConnmanManual(false, ip.toString(), netmask.toString(), gateway.toString());
        qDebug() << "set to manual ip:" << refusal;
        Upstart::start(u"avahi_2dautoip"_s, false);
    }
    Q_EMIT saveSettings();
}

// What follows from connman's state: settings read anew, name services started and stopped

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
    const QString state = toStringOrNull(map.variant());
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
