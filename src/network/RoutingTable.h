#pragma once

#include <QByteArray>
#include <QStringList>

/** The gateways that `route -n` lists for `eth0`, in the order of its lines.
 *
 *  A line counts that begins with a digit, has eight columns and a gateway other than "0.0.0.0". Which destination it
 *  is for is not looked at.
 *
 *  @param output what `route -n` of net-tools or busybox writes */
[[nodiscard]] QStringList ethernetGateways(const QByteArray &output);
