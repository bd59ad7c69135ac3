#include "network/RestoredAddress.h"

#include "base/RegularFile.h"
#include "network/AvahiHostname.h"
#include "network/ConnmanService.h"
#include "network/InterfacesFile.h"

#include <QDebug>

using namespace Qt::StringLiterals;

void applyInterfacesToConnman()
{
    const std::optional<QByteArray> text = readRegularFile(interfacesPath);
    if (!text)
        return;
    const std::optional<EthernetSettings> settings = readStaticStanza(*text);
    if (!settings)
        return;

    announceHostname();
    qDebug() << "setting address:" << settings->address << " netmask:" << settings->netmask
             << " gateway:" << settings->gateway;
    ConnmanService connman;
    connman.setConnmanManual(false, settings->address, settings->netmask, settings->gateway);
    if (!settings->nameserver.isEmpty())
        connman.setConnmanNameservers(settings->nameserver);
}
