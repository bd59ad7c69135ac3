// What a start of the device needs: the markers of a first start, the data partition, the scan of it.

#include "firmware/FwUpdateSettings.h"

#include "base/BusSignal.h"
#include "base/RegularFile.h"
#include "firmware/FwUpdateWorker.h"
#include "plc/ApplicationFiles.h"

#include <qmz/SysCfgMgrGlobals.h>

#include <QDir>
#include <QTimerEvent>

#include <libudev.h>

using namespace Qt::StringLiterals;

namespace {

const QString factoryInitMarker = u"factory_init"_s; // in the boot environment
constexpr int mountTestIntervalMs = 500;

bool isNamed(udev_device *device, const QString &name)
{
    return QString::fromUtf8(udev_device_get_sysname(device)) == name;
}

} // namespace

void FwUpdateSettings::checkStartMarkers()
{
    factoryInit = QFile::exists(environment.envPath + factoryInitMarker) || QFile::exists(u"/new_firmware"_s);
    if (!factoryInit)
        return;
    subscribe({{}, qmz::SysCfgMgrGlobals::SERVICE_PATH_NAME, u"started"_s, {}}, this, SLOT(armReboot()),
              "FwUpdateSettings: connecting to qmz::SysCfgMgrGlobals::SERVICE_NAME started signal failed.");
}

bool FwUpdateSettings::srvMounted()
{
    const std::optional<QByteArray> mounts = readRegularFile(u"/proc/mounts"_s);
    if (!mounts || !mounts->contains(" /srv "))
        return false;

    makePlcDirectories();
    return true;
}

void FwUpdateSettings::finishSrvStart()
{
    if (factoryInit) {
        delConfig(factoryInitMarker);
        saveEnvNoRestore();
        QDir(environment.envPath).remove(factoryInitMarker);
    }
    fwUpdated = restoreFromNodekeep() || factoryInit;
}

void FwUpdateSettings::startScan()
{
    auto *const worker = new FwUpdateWorker(this);
    worker->moveToThread(&scanThread);
    connect(&scanThread, &QThread::finished, worker, &QObject::deleteLater);
    connect(this, &FwUpdateSettings::scan, worker, &FwUpdateWorker::doWork);
    connect(worker, &FwUpdateWorker::done, this, &FwUpdateSettings::setFreeNr);
    scanThread.start(QThread::InheritPriority);
    Q_EMIT scan();
}

void FwUpdateSettings::setFreeNr(int firstFreeNr)
{
    freeNr = firstFreeNr;
}

void FwUpdateSettings::addBlock(udev_device *dev)
{
    // The device appears before the partition is mounted.
    if (isNamed(dev, watchedBlock))
        startTimer(mountTestIntervalMs);
}

void FwUpdateSettings::removeBlock(udev_device *dev)
{
    if (isNamed(dev, watchedBlock))
        clearNandUpdates();
}

void FwUpdateSettings::timerEvent(QTimerEvent *event)
{
    if (!srvMounted())
        return;
    killTimer(event->timerId());
    finishSrvStart();
    if (rebootArmed)
        reboot();
    else
        startScan();
}
