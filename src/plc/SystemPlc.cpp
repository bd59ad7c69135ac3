// The reset of the PLC runtime.

#include "system/System.h"

#include "plc/ApplicationFiles.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/Upstart.h>

using namespace Qt::StringLiterals;

bool System::resetCodesys()
{
    removePlcApplicationFiles(u"/system"_s);
    if (!qmz::NodekeepGlobals::hasCodesys())
        return false;
    Upstart::stop(u"codesys"_s, false);
    Upstart::start(u"codesys"_s, false);
    return true;
}
