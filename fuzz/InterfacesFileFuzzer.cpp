// Reads fixed addresses from an interfaces file: they have to be addresses, and to come back from a stanza of them.

#include "FuzzTarget.h"

#include "network/AddressText.h"
#include "network/InterfacesFile.h"

#include <algorithm>

namespace {

bool isAscii(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return static_cast<uchar>(byte) <= 0x7f; });
}

/** Whether a text is an address as QHostAddress writes it. */
bool isNormal(const QString &text)
{
    return parseAddress(text).toString() == text;
}

/** Whether a value comes back: the zone of an IPv6 address can be any text, a key of the stanza too. */
bool isPlain(const EthernetSettings &settings)
{
    return !(settings.address + settings.netmask + settings.gateway + settings.nameserver).contains(u'%');
}

} // namespace

void checkInput(QByteArrayView input)
{
    const QString text = QString::fromUtf8(input);
    require(isAscii(staticStanza({text, text, text, text})));

    const std::optional<EthernetSettings> settings = readStaticStanza(input.toByteArray());
    if (!settings)
        return;
    require(!settings->address.isEmpty() && !settings->netmask.isEmpty() && !settings->gateway.isEmpty());
    require(isNormal(settings->address) && isNormal(settings->netmask) && isNormal(settings->gateway));
    require(isNormal(settings->nameserver));
    require(!isPlain(*settings) ||
            readStaticStanza(interfacesHead() + staticStanza(*settings) + interfacesTail()) == settings);
    require(!readStaticStanza(interfacesHead() + dhcpStanza() + interfacesTail()));
}
