#include "network/InterfacesFile.h"

#include "base/AsciiText.h"
#include "base/RegularFile.h"
#include "network/AddressText.h"

namespace {

constexpr QByteArrayView staticHeading = "iface eth0 inet static";
constexpr QByteArrayView addressKey = "address";
constexpr QByteArrayView netmaskKey = "netmask";
constexpr QByteArrayView gatewayKey = "gateway";
constexpr QByteArrayView nameserverKey = "#nameserver";

QByteArray line(QByteArrayView key, const QString &value)
{
    return "   " + key.toByteArray() + ' ' + toAscii(value) + '\n';
}

/** The address behind a key and one blank, up to the end of the line. `position` may be that of a key that was not
 *  found: what then stands near the beginning of the text is no address. */
QString addressBehind(const QByteArray &text, qsizetype position, QByteArrayView key)
{
    const qsizetype begin = position + key.size() + 1;
    const qsizetype end = text.indexOf('\n', begin);
    const QByteArray value = text.mid(begin, end < 0 ? -1 : end - begin);
    return parseAddress(QString::fromLatin1(upToNul(value))).toString();
}

} // namespace

QByteArray interfacesHead()
{
    return "#/etc/network/interfaces automatically updated by nodekeep, changes might be lost!\n"
           "auto lo can0\n"
           "#loopback interface\n"
           "iface lo inet loopback\n"
           "#ethernet\n";
}

QByteArray dhcpStanza()
{
    return "iface eth0 inet dhcp\n";
}

QByteArray staticStanza(const EthernetSettings &settings)
{
    return staticHeading.toByteArray() + '\n' + line(addressKey, settings.address) +
           line(netmaskKey, settings.netmask) + line(gatewayKey, settings.gateway) +
           line(nameserverKey, settings.nameserver);
}

QByteArray interfacesTail()
{
    return "\n"
           "iface can0 inet static\n"
           " address 127.24.23.180\n"
           " netmask 255.255.255.0\n"
           " pre-up /etc/network/can-pre-up\n";
}

std::optional<EthernetSettings> readStaticStanza(const QByteArray &interfaces)
{
    const qsizetype stanza = interfaces.indexOf(staticHeading);
    if (stanza < 0)
        return std::nullopt;

    const auto value = [&](QByteArrayView key) {
        return addressBehind(interfaces, interfaces.indexOf(key, stanza), key);
    };
    EthernetSettings settings{value(addressKey), value(netmaskKey), value(gatewayKey), {}};
    if (interfaces.indexOf(nameserverKey, stanza) >= 0)
        settings.nameserver = value(nameserverKey);

    if (settings.address.isEmpty() || settings.netmask.isEmpty() || settings.gateway.isEmpty())
        return std::nullopt;
    return settings;
}
