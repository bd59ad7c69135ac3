#pragma once

#include <QString>
#include <QStringList>

/** @file
 *  The PLC runtime's list of applications over an update or a backup: it is written beside the applications, and comes
 *  from there into the runtime's configuration, which an update replaces. */

/** Writes the list file `plcApplicationListPath`, without truncating an older one.
 *  @return whether it could be opened; a write that falls short is not told */
bool writeApplicationList(const QString &version, const QStringList &applications);

/** Writes what the PLC runtime tells of itself into the list file and syncs the disks. Blocks until the runtime has
 *  answered.
 *  @return whether it has; without the file an update installs the default application */
bool saveCodesysState();

/** Enters the applications of the list file into the runtime's configuration and syncs the disks.
 *  @return false when either file can't be opened */
bool patchCodesysConfig();

/** Enters the default application into the runtime's configuration, if its boot application is there. */
void enterDefaultApplication();
