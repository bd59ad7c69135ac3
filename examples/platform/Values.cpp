// What the gauge calls its things, and where it keeps them.

#include <qmz/ConstParameter.h>
#include <qmz/GenGlobAccess.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/SysCfgMgrGlobals.h>

using namespace Qt::StringLiterals;

namespace qmz {

const QString NodekeepGlobals::SERVICE_PATH_NAME = u"com.ozt.nodekeep"_s; // the bus policy names it too
const QString NodekeepGlobals::LOADER_PATH = u"/loader"_s;
const QString NodekeepGlobals::VARIABLES = u"gauge"_s;
const QString NodekeepGlobals::CONSTANTS = u"limits"_s;
const QString NodekeepGlobals::UPDATE_PATH = u"/srv/fwupdate"_s;
const QString NodekeepGlobals::FW_DIRNAME = u"firmware"_s;
const int NodekeepGlobals::MIN_UPDATE_VERSION = 7;
const QString NodekeepGlobals::CERTIFICATE_PATH = u"/srv/gauge/certificates"_s;
const QString NodekeepGlobals::CODESYS_LICENSE_PATH = u"/srv/gauge/licence"_s;
const QString NodekeepGlobals::CODESYS_LICENSE_FILE = u"plc.lic"_s;
const QString NodekeepGlobals::DEFAULT_UPDATE_URL = u"http://updates.gauge.example/latest"_s;

const QString SysCfgMgrGlobals::SERVICE_PATH_NAME = u"com.ozt.syscfgmgr"_s;

const int SYSSTAT_LEVEL2_PW_DISABLE_BITNR = 2;
const int SYSSTAT_LEVEL3_PW_DISABLE_BITNR = 3;

const int ConstParameter::IDX_SYSTEM = 0;

QString ConstParameter::domainForIdx(int index)
{
    return index == IDX_SYSTEM ? u"system"_s : QString();
}

// The gauge has no PLC runtime.
bool NodekeepGlobals::hasCodesys()
{
    return false;
}

} // namespace qmz
