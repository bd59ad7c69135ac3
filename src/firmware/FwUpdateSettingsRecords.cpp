// The firmware records: how they come, go and are listed, and how one of them is installed.

#include "firmware/FwUpdateSettings.h"

#include "firmware/FirmwareName.h"
#include "firmware/NandUpdate.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/SystemEvent.h>

#include <QChildEvent>
#include <QDir>
#include <QStringList>

#include <utility>

using namespace Qt::StringLiterals;

NandUpdate *FwUpdateSettings::addNandUpdate(const QString &path, const QString &version, const QString &releasename,
                                            const QString &svnversion, const QString &minUpdaterVer,
                                            const QString &date)
{
    auto *const record = new NandUpdate(path, version, releasename, svnversion, minUpdaterVer, date, this);
    connect(record, &NandUpdate::start, this, &FwUpdateSettings::startUpdateNand);
    connect(record, &QObject::destroyed, this, &FwUpdateSettings::removeNandUpdate);
    nandUpdates.append(record);
    return record;
}

void FwUpdateSettings::removeNandUpdate()
{
    forgetNandUpdate(sender());
}

void FwUpdateSettings::childEvent(QChildEvent *event)
{
    // A record that is being deleted leaves its parent at once and lives until the event loop comes round; calls that
    // are queued behind the deletion must not find it in the list either.
    if (event->removed())
        forgetNandUpdate(event->child());
}

void FwUpdateSettings::forgetNandUpdate(const QObject *record)
{
    // What has gone is no record any more, so only addresses are compared.
    nandUpdates.removeIf([record](const QObject *listed) { return listed == record; });
}

void FwUpdateSettings::clearNandUpdates()
{
    // Each deletion comes back as removeNandUpdate and finds the list empty already.
    qDeleteAll(std::exchange(nandUpdates, {}));
}

bool FwUpdateSettings::cleanupFirmwareUpdates()
{
    const int kept = wrapped(freeNr, -1);
    const QList<NandUpdate *> records = nandUpdates;
    for (NandUpdate *record : records) {
        if (record->getIndex() != kept)
            record->deleteFw();
    }
    return true;
}

QString FwUpdateSettings::jsonFwUpdates() const
{
    QStringList objects;
    for (const NandUpdate *record : nandUpdates)
        objects.append(record->jsonObject());
    return u'[' + objects.join(u',') + u']';
}

void FwUpdateSettings::startUpdateNand(const QString &fwversion)
{
    if (!QDir(qmz::NodekeepGlobals::UPDATE_PATH).cd(fwversion))
        return;

    qmz::SystemEvent::firmwareUpdate(qmz::SystemEvent::UpdateStarted, u"/"_s);
    addConfig(u"update"_s);
    setEnv(u"NAND_UPDATE"_s, fwversion);
    saveEnv();
    saveToNodekeep();
    reboot();
}
