#pragma once

#include <qmz/Export.h>

#include <QString>

namespace qmz {

/** What differs from device family to device family: names, places and abilities.
 *
 *  The values belong to the library, not to this header, so that a device maker changes them without building the
 *  daemon anew. They exist before `main` runs and never change; the daemon reads them from any of its threads. They are
 *  not for initialising other static objects when the library is linked statically. */
class QMZ_EXPORT NodekeepGlobals
{
public:
    /** The well-known name that the daemon takes on the system bus, and the ident of its log. */
    static const QString SERVICE_PATH_NAME;
    /** Object path of the boot environment and of all firmware operations. It must be "/loader": clients receive that
     *  path in the firmware records' texts. */
    static const QString LOADER_PATH;
    /** Name, without a directory, of the device variable file in "/etc/"; on the bus it is below "/system". A valid
     *  element of an object path. */
    static const QString VARIABLES;
    /** Object name, below "/system", of the constants. A valid element of an object path. */
    static const QString CONSTANTS;
    /** Directory, without a final slash, that receives firmware packages. It must be "/srv/fwupdate", on the data
     *  partition: what the daemon carries over an update relies on that place. */
    static const QString UPDATE_PATH;
    /** Name of the directory that a firmware package is unpacked into. */
    static const QString FW_DIRNAME;
    /** The generation of this updater: a package that asks for a greater one is refused. */
    static const int MIN_UPDATE_VERSION;
    /** Directory, without a final slash, of the certificates that were uploaded. */
    static const QString CERTIFICATE_PATH;
    /** Directory, without a final slash, of the PLC runtime's licence and applications. */
    static const QString CODESYS_LICENSE_PATH;
    /** Name, without a directory, of the PLC runtime's licence file. */
    static const QString CODESYS_LICENSE_FILE;
    /** Where a firmware is fetched from when the client gives no address: an http address. */
    static const QString DEFAULT_UPDATE_URL;

    /** Whether this device has the PLC runtime. Asked whenever it matters, so the answer may change at run time. */
    static bool hasCodesys();
};

} // namespace qmz
