#include "firmware/FwUpdateSettings.h"

#include "bootenv/BareboxConfig.h"

#include <qmz/NodekeepGlobals.h>

#include <QDBusConnection>

using namespace Qt::StringLiterals;

FwUpdateSettings::FwUpdateSettings(const QString &watchedDevice, QObject *parent)
    : QObject(parent), envPath(u"/var/run/bareboxenv/"_s), envDevice(u"/dev/mtdblock1"_s), watchedBlock(watchedDevice)
{
    QDBusConnection::systemBus().registerObject(qmz::NodekeepGlobals::LOADER_PATH, this,
                                                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                                    QDBusConnection::ExportAllProperties |
                                                    QDBusConnection::ExportChildObjects);

    loadEnv();
    currentConfig = findConfig(u"config"_s);
}
