#pragma once

#include <QString>

/** @file
 *  The host name that Avahi announces on the local network. */

/** The kernel's host name with "?" for each character beyond ASCII; "qmz" when it can't be read. */
[[nodiscard]] QString announcedHostname();

/** Tells Avahi to announce announcedHostname(), and does not wait for its answer. */
void announceHostname();

/** The host name with its domain as Avahi announces it, "qmz.local" when Avahi does not answer. Blocks until it has.
 *  Nobody in the daemon asks for it. */
[[nodiscard]] QString getHostnameFqdn();
