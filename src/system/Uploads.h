#pragma once

#include <QString>

/** @file
 *  Files that the device's web server has taken for us: certificates, kept in qmz::NodekeepGlobals::CERTIFICATE_PATH,
 *  and the PLC runtime's licence. */

/** Stores an upload. A "*.pdf" becomes a certificate and its temporary file goes, even when it could not be stored. The
 *  PLC runtime's licence file is copied to its place. The disks are synced. Nobody is told whether that worked.
 *  @param fname path of the temporary file
 *  @param rname name that the uploader gave; not cleaned, a path in it counts */
void storeUpload(const QString &fname, const QString &rname);

/** Removes every file in the certificate directory that is named "*.pdf", in small or capital letters.
 *  @return how many were removed */
int deleteAllCertificates();
