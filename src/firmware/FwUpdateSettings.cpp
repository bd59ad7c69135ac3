#include "firmware/FwUpdateSettings.h"

#include "base/BusSignal.h"
#include "base/RegularFile.h"
#include "firmware/CarryOver.h"
#include "firmware/FwUpdateWorker.h"
#include "firmware/NandUpdate.h"
#include "firmware/Reboot.h"
#include "plc/ApplicationFiles.h"
#include "plc/PlcBackup.h"
#include "plc/PlcReset.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/SysCfgAccess.h>
#include <qmz/SysCfgMgrGlobals.h>
#include <qmz/SystemEvent.h>

#include <QChildEvent>
#include <QDBusConnection>
#include <QDebug>
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

FwUpdateSettings::FwUpdateSettings(const QString &watchedDevice, QObject *parent)
    : QObject(parent), watchedBlock(watchedDevice)
{
    connect(&records, &FirmwareRecords::start, this, &FwUpdateSettings::startUpdateNand);
    connect(&intake, &FirmwareIntake::accepted, this, &FwUpdateSettings::startAccepted);

    QDBusConnection::systemBus().registerObject(qmz::NodekeepGlobals::LOADER_PATH, this,
                                                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                                    QDBusConnection::ExportAllProperties |
                                                    QDBusConnection::ExportChildObjects);

    loadEnv();
    lookupConfig(mainConfig);
    checkStartMarkers();

    subscribe({u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s, u"ss"_s}, this, SLOT(fileUploaded(QString, QString)),
              "file upload signal connection failed!");

    if (srvMounted()) {
        finishSrvStart();
        startScan();
    }
}

FwUpdateSettings::~FwUpdateSettings()
{
    // A thread that is destroyed while it runs ends the process.
    scanThread.quit();
    scanThread.wait();
    // From here on children go one by one, and the list with them is of no use to anybody.
    records.clearNandUpdates();
}

// The start: markers of a first start, the data partition, the scan of it

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
    const bool isRestored = restoreFromNodekeep(environment.envPath);
    updateFailed = updateFailed || isRestored;
    fwUpdated = isRestored || factoryInit;
}

void FwUpdateSettings::startScan()
{
    auto *const worker = new FwUpdateWorker;
    worker->moveToThread(&scanThread);
    connect(&scanThread, &QThread::finished, worker, &QObject::deleteLater);
    connect(this, &FwUpdateSettings::scan, worker, &FwUpdateWorker::doWork);
    connect(worker, &FwUpdateWorker::found, &records, &FirmwareRecords::addNandUpdate);
    connect(worker, &FwUpdateWorker::done, this, &FwUpdateSettings::setFreeNr);
    scanThread.start(QThread::InheritPriority);
    Q_EMIT scan();
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
        records.clearNandUpdates();
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

void FwUpdateSettings::armReboot()
{
    if (fwUpdated)
        reboot();
    else
        rebootArmed = true;
}

void FwUpdateSettings::reboot()
{
    rebootDevice();
}

// Firmware

void FwUpdateSettings::fileUploaded(const QString &fname, const QString &rname)
{
    if (fname.endsWith(u"fwupdate"_s)) {
        intake.takeIn(fname, rname);
    } else if (fname.endsWith(u"codesys.tgz"_s)) {
        qDebug() << "codesys file uploaded:" << fname << " " << rname;
        if (restoreCodesysFromTarball(fname))
            SysCfgAccess::getInstance()->startLedEffect(60, 5);
    }
}

void FwUpdateSettings::startUpdateHttp()
{
    startUpdateHttp(qmz::NodekeepGlobals::DEFAULT_UPDATE_URL);
}

void FwUpdateSettings::startAccepted(NandUpdate *record)
{
    if (!onlyUploadFirmware)
        record->startUpdate();
}

void FwUpdateSettings::startUpdateNand(const QString &fwversion)
{
    if (!QDir(qmz::NodekeepGlobals::UPDATE_PATH).cd(fwversion))
        return;

    qmz::SystemEvent::firmwareUpdate(qmz::SystemEvent::UpdateStarted, u"/"_s);
    addConfig(u"update"_s);
    setEnv(u"NAND_UPDATE"_s, fwversion);
    saveEnv();
    saveToNodekeep(environment.envPath);
    reboot();
}

void FwUpdateSettings::childEvent(QChildEvent *event)
{
    // A record that is being deleted leaves its parent at once and lives until the event loop comes round; calls that
    // are queued behind the deletion must not find it in the list either.
    if (event->removed())
        records.forgetNandUpdate(event->child());
}

bool FwUpdateSettings::cleanupFirmwareUpdates()
{
    records.cleanupFirmwareUpdates();
    return true;
}

// The PLC runtime

QString FwUpdateSettings::createCodesysTarball()
{
    return ::createCodesysTarball();
}

bool FwUpdateSettings::restoreCodesysFromTarball(const QString &file)
{
    return ::restoreCodesysFromTarball(file);
}

void FwUpdateSettings::restartCodesys()
{
    ::restartCodesys();
}
