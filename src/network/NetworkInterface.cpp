#include "network/NetworkInterface.h"

#include "base/BusSignal.h"
#include "base/KernelHostname.h"
#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"
#include "network/AddressText.h"

#include <QDBusArgument>

using namespace Qt::StringLiterals;

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

QString NetworkInterface::macAddress() const
{
    BootEnvironment *const environment = bootEnvironmentOnBus();
    if (!environment)
        return {};
    // Not by ethernetAddress(), which makes a main store where there is none.
    environment->lookupConfig(mainConfig);
    return environment->getEnv(u"eth0.ethaddr"_s);
}
