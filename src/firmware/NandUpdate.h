#pragma once

#include "firmware/FirmwareControl.h"

#include <QObject>
#include <QString>

/** The record of one firmware directory on the data partition, on the bus below the update manager under the
 *  directory's name.
 *
 *  It tells what the firmware's control file said when the record was made; nothing is read again. It does not tell
 *  whether the firmware is the running one. */
class NandUpdate : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.NandUpdate")

public:
    /** @param path the firmware's directory, with or without the directories above it. Its last component, up to the
     *              first dot, becomes the object name. */
    NandUpdate(const QString &path, const QString &version, const QString &releasename, const QString &svnversion,
               const QString &minUpdaterVer, const QString &date, QObject *parent);

Q_SIGNALS:
    /** The firmware is to be installed. */
    void start(QString fwname);

public Q_SLOTS:
    /** Installs this firmware: the device saves its settings and goes down for the update. */
    void startUpdate();
    /** Removes the firmware's directory and this record, which is gone from the bus and the manager's list at once.
     *  Removing can take up to 30 seconds, and the service is blocked meanwhile; it is not told if it fails. A
     *  directory that is gone already is not an error. */
    void deleteFw();

    QString version() const { return facts.version; }
    QString releasename() const { return facts.releasename; }
    QString svnversion() const { return facts.svnversion; }
    /** Lowest generation of the updater that may take this firmware, as text. */
    QString minUpdaterVer() const { return facts.minUpdaterVer; }
    QString date() const { return facts.date; }

    /** The record as a JSON object. Texts are not escaped and `minUpdaterVer` stands bare: a control file with quotes
     *  in its values, or without that entry, makes this no valid JSON. */
    QString jsonObject() const;

    /** The number at the end of the directory's name; -1 when it does not end in one. */
    int getIndex() const { return index; }

private:
    FirmwareControl facts;
    int index = -1;
};
