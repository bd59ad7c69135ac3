#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class NandUpdate;
struct FirmwareControl;

/** The firmware on the data partition, as the daemon knows it: a record each, and the number of the next one. */
class FirmwareRecords : public QObject
{
    Q_OBJECT

public:
    /** @param recordsParent becomes the parent of all records, which are on the bus below it; outlives this object */
    explicit FirmwareRecords(QObject *recordsParent);

    /** Makes the record of a firmware and lists it.
     *  @param path the firmware's directory, with or without the directories above it */
    NandUpdate *addNandUpdate(const QString &path, const FirmwareControl &control);
    /** Takes a record from the list, which may be on its way out. */
    void forgetNandUpdate(const QObject *record);
    /** Deletes all records; their directories stay. */
    void clearNandUpdates();

    /** Deletes every firmware but the one that was numbered last; all of them when that one is gone or incomplete. */
    void cleanupFirmwareUpdates();

    /** The name of the next directory, whose number is then taken. */
    [[nodiscard]] QString takeName();
    void setFreeNr(int firstFreeNr) { freeNr = firstFreeNr; }

    /** The names of the firmware's directories. */
    [[nodiscard]] QStringList names() const;
    /** The records as a JSON array, in list order. Not escaped: see NandUpdate::jsonObject. */
    [[nodiscard]] QString jsonFwUpdates() const;

Q_SIGNALS:
    /** A firmware is to be installed. */
    void start(const QString &fwname);

private:
    QObject *const parent;
    QList<NandUpdate *> nandUpdates; // children of `parent`
    int freeNr = 0;
};
