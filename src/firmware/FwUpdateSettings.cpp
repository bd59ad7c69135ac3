#include "firmware/FwUpdateSettings.h"

#include "base/BusSignal.h"
#include "firmware/NandUpdate.h"
#include "plc/PlcBackup.h"
#include "plc/PlcReset.h"

#include <qmz/NodekeepGlobals.h>

#include <QChildEvent>
#include <QDBusConnection>

using namespace Qt::StringLiterals;

FwUpdateSettings::FwUpdateSettings(const QString &watchedDevice, QObject *parent)
    : QObject(parent), watchedBlock(watchedDevice)
{
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
    clearNandUpdates();
}

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
