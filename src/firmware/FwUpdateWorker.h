#pragma once

#include "firmware/FirmwareControl.h"

#include <QDir>
#include <QObject>

/** Walks the data partition for firmware, on a thread of its own. It knows nobody: what it finds it tells by signals,
 *  so that the records are made on the receiver's thread. */
class FwUpdateWorker : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

Q_SIGNALS:
    /** A complete firmware lies there.
     *  @param path absolute path of its directory */
    void found(const QString &path, const FirmwareControl &control);
    /** The walk has ended; every firmware was told before.
     *  @param freeNr the first number above all that are taken */
    void done(int freeNr);

public Q_SLOTS:
    /** Walks once. Removes what an interrupted intake has left; leaves incomplete firmware where it is, whose number
     *  stays taken. Sums are not tested: intake has done so. */
    void doWork();

private:
    void examine(const QDir &firmwares, const QString &name);

    int freeNr = 0;
};
