#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

/** @file
 *  Reading what connman, or whoever has its name, answers. A value of another type than expected counts as none. */

/** The object path of connman's Ethernet service.
 *  @param introspection connman's answer to "Introspect" on the parent of its services; the last node whose name starts
 *                       with "ethernet" wins, and broken XML counts as far as it can be read
 *  @return empty when there is no such service */
[[nodiscard]] QString ethernetServicePath(const QString &introspection);

/** The text in `value`, a null one when it holds anything else. */
[[nodiscard]] QString toStringOrNull(const QVariant &value);

/** The map in `value`, which came over the bus inside a variant; empty when it holds anything else. */
[[nodiscard]] QVariantMap toMap(const QVariant &value);
