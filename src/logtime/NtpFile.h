#pragma once

#include <QByteArray>
#include <QString>

/** The text of /var/run/ntp/ntp.conf: nobody but the device itself may ask the NTP daemon, and these are its servers.
 *
 *  @param server     the user's server; empty for none
 *  @param dhcpServer the network's server; empty for none. With neither, the device's own address stands in. */
[[nodiscard]] QByteArray ntpFile(const QString &server, const QString &dhcpServer);
