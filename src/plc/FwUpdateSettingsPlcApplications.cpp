// The PLC runtime's list of applications, across an update and into the new configuration.

#include "firmware/FwUpdateSettings.h"

#include "base/RegularFile.h"
#include "plc/ApplicationFiles.h"
#include "plc/ApplicationList.h"
#include "plc/PlcRuntime.h"
#include "plc/SysFileMap.h"

#include <qmz/Upstart.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

void FwUpdateSettings::restartCodesys()
{
    Upstart::stop(u"codesys"_s, false);
    Upstart::start(u"codesys"_s, false);
}

bool FwUpdateSettings::saveCodesysState()
{
    const std::optional<PlcState> state = askPlcRuntime();
    if (!state)
        return false;

    // The runtime's answer is what counts here: without the file an update installs the default application.
    QFile list;
    if (openRegularFile(list, plcApplicationListPath, QIODevice::ReadWrite))
        list.write(listFileText(QString::number(state->version.toInt()), state->applications));
    list.close();
    ::sync();
    return true;
}

bool FwUpdateSettings::patchCodesysConfig()
{
    const std::optional<QByteArray> list = readRegularFile(plcApplicationListPath);
    if (!list)
        return false;
    QFile configuration;
    if (!openRegularFile(configuration, plcConfigurationPath, QIODevice::ReadWrite))
        return false;

    // Not truncated: behind a text that has become shorter the end of the old one stays.
    const std::optional<QByteArray> patched = withApplications(configuration.readAll(), *list);
    if (patched && configuration.seek(0))
        configuration.write(*patched);
    configuration.close();
    ::sync();
    return true;
}

QStringList FwUpdateSettings::codesysFileMapList()
{
    const std::optional<QByteArray> map = readRegularFile(plcDirectory + u"SysFileMap.cfg"_s);
    return map ? sysFileMapNames(*map) : QStringList();
}
