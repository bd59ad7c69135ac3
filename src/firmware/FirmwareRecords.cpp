#include "firmware/FirmwareRecords.h"

#include "firmware/FirmwareControl.h"
#include "firmware/FirmwareName.h"
#include "firmware/NandUpdate.h"

#include <utility>

using namespace Qt::StringLiterals;

FirmwareRecords::FirmwareRecords(QObject *recordsParent) : parent(recordsParent) {}

NandUpdate *FirmwareRecords::addNandUpdate(const QString &path, const FirmwareControl &control)
{
    auto *const record = new NandUpdate(path, control.version, control.releasename, control.svnversion,
                                        control.minUpdaterVer, control.date, parent);
    connect(record, &NandUpdate::start, this, &FirmwareRecords::start);
    connect(record, &QObject::destroyed, this, &FirmwareRecords::forgetNandUpdate);
    nandUpdates.append(record);
    return record;
}

void FirmwareRecords::forgetNandUpdate(const QObject *record)
{
    // What has gone is no record any more, so only addresses are compared.
    nandUpdates.removeIf([record](const QObject *listed) { return listed == record; });
}

void FirmwareRecords::clearNandUpdates()
{
    // Each deletion comes back as forgetNandUpdate and finds the list empty already.
    qDeleteAll(std::exchange(nandUpdates, {}));
}

void FirmwareRecords::cleanupFirmwareUpdates()
{
    const int kept = wrappingAdd(freeNr, -1);
    const QList<NandUpdate *> records = nandUpdates;
    for (NandUpdate *record : records) {
        if (record->getIndex() != kept)
            record->deleteFw();
    }
}

QString FirmwareRecords::takeName()
{
    const int number = freeNr;
    freeNr = wrappingAdd(freeNr, 1);
    return u"fwupdate"_s + QString::number(number);
}

QStringList FirmwareRecords::names() const
{
    QStringList names;
    for (const NandUpdate *record : nandUpdates)
        names.append(record->objectName());
    return names;
}

QString FirmwareRecords::jsonFwUpdates() const
{
    QStringList objects;
    for (const NandUpdate *record : nandUpdates)
        objects.append(record->jsonObject());
    return u'[' + objects.join(u',') + u']';
}
