#pragma once

#include <QByteArray>
#include <QStringList>

/** The names of the files in /srv/codesys that the PLC runtime's file map lists, without their directories and in its
 *  order.
 *
 *  The map's section begins behind the line that holds "[SysFileMap]" and ends before the next line that begins with
 *  "["; in it a line holds a path up to its first "=". Lines without "=" and paths elsewhere are passed by.
 *
 *  @param map content of the map; a line counts up to its first NUL */
[[nodiscard]] QStringList sysFileMapNames(const QByteArray &map);
