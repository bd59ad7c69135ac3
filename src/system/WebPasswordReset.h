#pragma once

#include <QString>

class BareboxConfig;

/** Empties the lost password of a web user, given a file that gpg accepts and that names this device by host name and
 *  Ethernet address. How it went is told by one of the events pwReset..., too. Blocks while gpg runs, for as long as
 *  that takes.
 *  @param file path of a clear-signed text; deleted after a success, else left where it is
 *  @param hostname of this device
 *  @param store of the user, whose "pw" is emptied
 *  @return whether the password was reset. That it could be saved is not made sure of. */
bool resetWebPassword(const QString &file, const QString &hostname, BareboxConfig &store);
