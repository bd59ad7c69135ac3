#pragma once

#include <QString>

/** @file
 *  Backup and restore of the PLC runtime's applications and files. */

/** Packs them into a gzipped tar archive below /tmp, which belongs to the caller. The runtime has to be on the bus and
 *  keeps running; a file that it names and that is missing makes the backup fail.
 *  @return path of the archive; null on failure. After 30 seconds tar is ended and the archive is returned as it is
 *          then. */
QString createCodesysTarball();

/** Stops the PLC runtime, replaces its applications by those of a backup and starts it anew.
 *
 *  The old applications, each with the event codesysFileRemoved from "/loader", and the archive are removed in any
 *  case. On an archive that can't be unpacked the runtime stays stopped.
 *  @param file path of a backup on the device
 *  @return whether the archive was unpacked and the runtime's configuration was opened */
bool restoreCodesysFromTarball(const QString &file);
