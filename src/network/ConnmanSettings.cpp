#include "network/ConnmanSettings.h"

#include "base/BusText.h"
#include "network/AddressText.h"
#include "network/ConnmanReply.h"

#include <QDebug>

using namespace Qt::StringLiterals;

namespace {

/** @return whether there is an address; without one nothing else counts */
bool parseConnmanSettings(const QVariantMap &properties, ConnmanSettings &settings)
{
    const QString address = toStringOrNull(properties.value(u"Address"_s));
    if (address.isEmpty())
        return false;

    settings.address = parseAddress(address);
    qDebug() << *settings.address;
    if (properties.contains(u"Netmask"_s)) {
        settings.netmask = parseAddress(toStringOrNull(properties.value(u"Netmask"_s)));
        qDebug() << *settings.netmask;
    }
    if (properties.contains(u"Method"_s)) {
        settings.dhcp = toStringOrNull(properties.value(u"Method"_s)) == "dhcp"_L1;
        qDebug(*settings.dhcp ? "true" : "false");
    }
    return true;
}

} // namespace

ConnmanSettings connmanSettingsIn(const QVariantMap &properties)
{
    // With fixed addresses the configuration holds them, also while the port is down. With DHCP it holds none, and the
    // live values count.
    ConnmanSettings settings;
    if (const auto configured = properties.constFind(u"IPv4.Configuration"_s); configured != properties.cend()) {
        if (!parseConnmanSettings(toMap(*configured), settings) &&
            !parseConnmanSettings(toMap(properties.value(u"IPv4"_s)), settings))
            parseConnmanSettings(toMap(properties.value(u"IPv6"_s)), settings);
    }
    settings.nameserver = firstNameserver(properties);
    return settings;
}

std::optional<QString> firstNameserver(const QVariantMap &properties)
{
    const QVariant nameservers = properties.value(u"Nameservers"_s);
    if (nameservers.metaType() != QMetaType::fromType<QStringList>())
        return std::nullopt;
    return boundedText(nameservers.toStringList().value(0));
}
