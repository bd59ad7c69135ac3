#pragma once

#include <QString>

/** What can be chosen below a directory of time zones, as the JSON text of a tree.
 *
 *  A node is `{"path":P,"subdirs": [NODE,...],"selections":[F,...]}`: the directory's path below the root, empty for
 *  the root itself; a node for each subdirectory, the member missing where there is none; and the names of its files.
 *  Both lists are sorted by name, ignoring case. Hidden entries are left out, as are names in no encoding; links count
 *  as what they lead to. No name is escaped.
 *
 *  The tree is walked anew at each call. Nothing keeps count of directory links that lead back up: a single one shows
 *  its part of the tree some forty times, until the kernel follows no further, and several multiply. Once the text has
 *  4 MiB no further directory is entered, and those that are left out are not named.
 *
 *  @param root absolute path without a trailing slash. One that is missing or can't be read is a node without entries.
 */
[[nodiscard]] QString zoneTreeText(const QString &root);
