#include "firmware/FirmwareControl.h"

#include "bootenv/BareboxConfig.h"

#include <qmz/NodekeepGlobals.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// Far more than the entries need. The list of all firmwares has to go through the bus in one answer.
constexpr qint64 maxControlBytes = qint64{8} * 1024;

} // namespace

FirmwareControl readFirmwareControl(const QDir &firmware)
{
    if (QFileInfo(firmware, u"control"_s).size() > maxControlBytes)
        return {};
    const BareboxConfig control(nullptr, firmware.absolutePath(), u"control"_s);
    return {.version = control.getTrimmed(u"VERSION"_s),
            .releasename = control.getTrimmed(u"RELEASENAME"_s),
            .svnversion = control.getTrimmed(u"SVNVERSION"_s),
            .minUpdaterVer = control.getTrimmed(u"MIN_UPDATER_VERSION"_s),
            .date = control.getTrimmed(u"DATE"_s)};
}

bool suitsDevice(const FirmwareControl &control, const QString &minVersion)
{
    if (minVersion.toFloat() > control.version.toFloat())
        return false;

    bool isNumber = false;
    const int generation = control.minUpdaterVer.toInt(&isNumber);
    return isNumber && generation <= qmz::NodekeepGlobals::MIN_UPDATE_VERSION;
}
