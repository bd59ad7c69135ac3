// Reads a control file and decides whether it suits a device with a lowest version, the input's second part.

#include "FuzzTarget.h"

#include "base/RegularFile.h"
#include "firmware/FirmwareControl.h"

#include <QTemporaryDir>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 thisGeneration = 3;

/** Whether a text is a number that this updater may take in, sign and outer white space allowed. */
bool isLowGeneration(const QString &text)
{
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    return isNumber && number >= std::numeric_limits<qint32>::min() && number <= thisGeneration;
}

} // namespace

void checkInput(QByteArrayView input)
{
    static const QTemporaryDir directory;
    require(writeRegularFile(directory.filePath(u"control"_s), takePart(input).toByteArray()));
    const QString minVersion = QString::fromUtf8(input);

    const FirmwareControl control = readFirmwareControl(QDir(directory.path()));
    for (const QString &value :
         {control.version, control.releasename, control.svnversion, control.minUpdaterVer, control.date})
        require(!value.contains(u'\n') && !value.contains(QChar::Null));

    const float version = control.version.toFloat();
    require(suitsDevice(control, u"-inf"_s) == isLowGeneration(control.minUpdaterVer));
    require(!suitsDevice(control, u"inf"_s) || !std::isfinite(version));
    require(!suitsDevice(control, minVersion) || suitsDevice(control, u"-inf"_s));
    require(!suitsDevice(control, minVersion) || !(version < minVersion.toFloat()));
}
