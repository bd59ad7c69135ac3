// After a firmware update: the static addressing of the restored interfaces file goes back to connman.

#include "firmware/FwUpdateSettings.h"

#include "base/RegularFile.h"
#include "network/InterfacesFile.h"
#include "network/NetworkInterface.h"

#include <QDebug>

using namespace Qt::StringLiterals;

void FwUpdateSettings::applyInterfacesToConnman()
{
    const std::optional<QByteArray> text = readRegularFile(u"/etc/network/interfaces"_s);
    if (!text)
        return;
    const std::optional<EthernetSettings> settings = readStaticStanza(*text);
    if (!settings)
        return;

    // At start-up the long-lived object is not on the bus yet.
    NetworkInterface network(nullptr);
    qDebug() << "setting address:" << settings->address << " netmask:" << settings->netmask
             << " gateway:" << settings->gateway;
    network.setConnmanManual(false, settings->address, settings->netmask, settings->gateway);
    if (!settings->nameserver.isEmpty())
        network.setConnmanNameservers(settings->nameserver);
}
