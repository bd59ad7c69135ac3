#pragma once

#include <QString>

/** @file
 *  The device's identity and settings, carried over an update: /etc is replaced, the data partition is not. Both touch
 *  files below /etc and /srv, and block for as long as the PLC runtime, connman and the shell take. */

/** Copies them, and the PLC runtime's list of applications, to the data partition and syncs the disks. What the device
 *  doesn't have stays there as an earlier update left it. Nothing happens without a data partition.
 *  @param envPath directory of the unpacked boot environment, with a final slash */
void saveToNodekeep(const QString &envPath);

/** Copies them back, once: the copies go. Links the firmware's public files, enters the PLC's applications into their
 *  new configuration, syncs the disks and gives connman the address of the restored interfaces file.
 *  @param envPath as above
 *  @return whether an update has left settings there */
bool restoreFromNodekeep(const QString &envPath);
