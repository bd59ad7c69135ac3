#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/** @file
 *  The text of /etc/network/interfaces, which the daemon rewrites whole, and its one reader. The two must stay in step:
 *  what is read are the keys that are written.
 *
 *  `eth0` stands without "auto", as connman owns the port; its stanza carries the settings across a firmware update.
 *  The stanza of `can0` is fixed text, whatever the settings of the CAN bus are. */

inline const QString interfacesPath = QStringLiteral("/etc/network/interfaces");

/** The settings of `eth0`. All values are texts, which are written as they stand, but for characters beyond ASCII: each
 *  becomes "?". */
struct EthernetSettings
{
    QString address;
    QString netmask;
    QString gateway;
    QString nameserver;

    friend bool operator==(const EthernetSettings &, const EthernetSettings &) = default;
};

/** What comes before the stanza of `eth0`. */
[[nodiscard]] QByteArray interfacesHead();

/** The stanza of `eth0` for addressing by DHCP. */
[[nodiscard]] QByteArray dhcpStanza();

/** The stanza of `eth0` with fixed addresses. The name server stands in a comment. */
[[nodiscard]] QByteArray staticStanza(const EthernetSettings &settings);

/** What comes behind the stanza of `eth0`. */
[[nodiscard]] QByteArray interfacesTail();

/** Reads the stanza that staticStanza() wrote.
 *
 *  Each key is searched for from the stanza's beginning to the end of the file, also in the stanzas behind it. Values
 *  are normalised: one that is no address comes out empty.
 *
 *  @return nothing when the text has no such stanza, or its address, netmask or gateway is empty */
[[nodiscard]] std::optional<EthernetSettings> readStaticStanza(const QByteArray &interfaces);
