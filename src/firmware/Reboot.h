#pragma once

/** The way down: all deliberate restarts of the device go through here.
 *
 *  Saves the settings of the port at "/system/network", if it is there, stops the job "dorlanserver", removes the
 *  marker /new_firmware, syncs the disks, raises the event reboot and calls shutdown, for which it waits up to 30
 *  seconds. */
void rebootDevice();
