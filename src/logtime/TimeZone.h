#pragma once

#include <QString>

/** @file
 *  The device's time zone, which is the link /etc/localtime. A zone is named by its path below `zoneRoot`, such as
 *  "Europe/Berlin". */

inline const QString zoneRoot = QStringLiteral("/usr/share/zoneinfo");

/** Where the link leads; "UTC" when there is no link. */
[[nodiscard]] QString currentTimezone();

/** Replaces the link. A zone that doesn't exist changes nothing. The path is not cleaned: a directory, the empty text
 *  and ".." are taken as well. The new zone counts at once and after a restart; a failure is not told. */
void replaceTimezone(const QString &zone);
