#pragma once

#include <qmz/Export.h>

#include <QString>

namespace qmz {

/** What the daemon has to know of the device's system configuration manager. */
class QMZ_EXPORT SysCfgMgrGlobals
{
public:
    /** The D-Bus interface whose signal "started" tells that the manager has come up. */
    static const QString SERVICE_PATH_NAME;
};

} // namespace qmz
