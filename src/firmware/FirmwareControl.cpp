#include "firmware/FirmwareControl.h"

#include "base/RegularFile.h"
#include "bootenv/VariableFile.h"

#include <qmz/NodekeepGlobals.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// Far more than the entries need. The list of all firmwares has to go through the bus in one answer.
constexpr qint64 maxControlBytes = qint64{8} * 1024;

/** Qt takes "nan" for a number, which is below nothing and above nothing. */
float versionNumber(const QString &text)
{
    const float number = text.toFloat();
    return qIsNaN(number) ? 0 : number;
}

} // namespace

FirmwareControl readFirmwareControl(const QDir &firmware)
{
    if (QFileInfo(firmware, u"control"_s).size() > maxControlBytes)
        return {};
    const VariableFile control(readRegularFile(firmware.absoluteFilePath(u"control"_s)));
    const auto entry = [&control](const QString &name) { return unquotedValue(control.value(name)); };
    return {.version = entry(u"VERSION"_s),
            .releasename = entry(u"RELEASENAME"_s),
            .svnversion = entry(u"SVNVERSION"_s),
            .minUpdaterVer = entry(u"MIN_UPDATER_VERSION"_s),
            .date = entry(u"DATE"_s)};
}

bool suitsDevice(const FirmwareControl &control, const QString &minVersion)
{
    if (versionNumber(minVersion) > versionNumber(control.version))
        return false;

    bool isNumber = false;
    const int generation = control.minUpdaterVer.toInt(&isNumber);
    return isNumber && generation <= qmz::NodekeepGlobals::MIN_UPDATE_VERSION;
}
