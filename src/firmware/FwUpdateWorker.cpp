#include "firmware/FwUpdateWorker.h"

#include "base/ChildProcess.h"
#include "firmware/FirmwareName.h"

#include <qmz/NodekeepGlobals.h>

#include <QDebug>
#include <QProcess>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

bool isComplete(const QDir &firmware)
{
    static const std::array required{u"linuximage"_s, u"linuximage.md5"_s, u"root.ubi"_s, u"root.ubi.md5"_s,
                                     u"control"_s};
    return std::all_of(required.begin(), required.end(), [&](const QString &name) { return firmware.exists(name); });
}

} // namespace

void FwUpdateWorker::doWork()
{
    qDebug("/srv available scanning firmware.");

    QDir firmwares(qmz::NodekeepGlobals::UPDATE_PATH);
    const QStringList names = firmwares.entryList(QDir::AllDirs, QDir::Unsorted);
    for (const QString &name : names) {
        if (name == qmz::NodekeepGlobals::FW_DIRNAME) {
            QProcess remove;
            runTool(remove, u"rm"_s, {u"-rf"_s, firmwares.absoluteFilePath(name)}, noLimitMs);
        } else if (name != u"."_s && name != u".."_s) {
            examine(firmwares, name);
        }
    }
    Q_EMIT done(freeNr);
}

void FwUpdateWorker::examine(const QDir &firmwares, const QString &name)
{
    // Every directory counts, whatever its name: a number taken twice would move one firmware into another.
    const int number = occupiedNumber(name);
    qDebug() << "Found firmware nr: firmware" << number;
    freeNr = std::max(freeNr, number + 1);

    QDir firmware = firmwares;
    static_cast<void>(firmware.cd(name)); // where it can't go, it stays
    if (!isComplete(firmware))
        return;

    Q_EMIT found(firmware.absolutePath(), readFirmwareControl(firmware));
}
