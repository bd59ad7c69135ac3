#include "firmware/FirmwareControl.h"

#include "bootenv/BareboxConfig.h"

using namespace Qt::StringLiterals;

FirmwareControl readFirmwareControl(const QDir &firmware)
{
    const BareboxConfig control(nullptr, firmware.absolutePath(), u"control"_s);
    return {.version = control.getTrimmed(u"VERSION"_s),
            .releasename = control.getTrimmed(u"RELEASENAME"_s),
            .svnversion = control.getTrimmed(u"SVNVERSION"_s),
            .minUpdaterVer = control.getTrimmed(u"MIN_UPDATER_VERSION"_s),
            .date = control.getTrimmed(u"DATE"_s)};
}
