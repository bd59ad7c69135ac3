#pragma once

#include <QByteArrayView>
#include <QString>

/** The device's uptime and time as JSON text, without white space: `{"uptime":U,"idletime":I,"currenttime":T}`.
 *
 *  @param uptimeContent what /proc/uptime holds: two numbers with a blank between, which go into the text as they
 *                       stand. Without the blank the text is `{}`.
 *  @param currentTime   any count of seconds */
[[nodiscard]] QString timeinfoText(QByteArrayView uptimeContent, qint64 currentTime);
