#include "plc/PlcReset.h"

#include "plc/ApplicationFiles.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/Upstart.h>

using namespace Qt::StringLiterals;

namespace {
const QString job = u"codesys"_s;
}

void stopCodesys()
{
    Upstart::stop(job, false);
}

void startCodesys()
{
    Upstart::start(job, false);
}

void restartCodesys()
{
    stopCodesys();
    startCodesys();
}

bool resetCodesys()
{
    removePlcApplicationFiles(u"/system"_s);
    if (!qmz::NodekeepGlobals::hasCodesys())
        return false;
    restartCodesys();
    return true;
}
