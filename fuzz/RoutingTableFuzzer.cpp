// Reads the gateways from what `route -n` prints: each is a column of a line that names the port.

#include "FuzzTarget.h"

#include "network/RoutingTable.h"

void checkInput(QByteArrayView input)
{
    const QByteArray output = input.toByteArray();
    const QStringList gateways = ethernetGateways(output);

    require(gateways.size() <= output.count("eth0"));
    for (const QString &gateway : gateways) {
        require(!gateway.isEmpty() && !gateway.contains(u' ') && !gateway.contains(u'\n'));
        require(output.contains(' ' + gateway.toLatin1() + ' '));
        require(gateway != u"0.0.0.0");
    }
}
