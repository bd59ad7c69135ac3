#pragma once

#include <QHostAddress>
#include <QString>
#include <QVariantMap>

#include <optional>

/** What connman tells of the port. A value that it does not tell is not there. */
struct ConnmanSettings
{
    std::optional<QHostAddress> address;
    std::optional<QHostAddress> netmask;
    std::optional<bool> dhcp;
    std::optional<QString> nameserver; ///< the first one; null for none
};

/** Address, mask, method and name server among a service's properties, whose values may be of any type. With fixed
 *  addresses these are the configured ones, also while the port is down, else those in force. */
[[nodiscard]] ConnmanSettings connmanSettingsIn(const QVariantMap &properties);

/** The first of the name servers, null when there is none; nothing when what stands there is no list of texts. */
[[nodiscard]] std::optional<QString> firstNameserver(const QVariantMap &properties);
