#pragma once

#include <QDir>
#include <QObject>

class FwUpdateSettings;

/** Walks the data partition for firmware, on a thread of its own.
 *
 *  It hands what it finds to the update manager, which makes the records on its own thread; the worker itself touches
 *  nothing of the manager's. */
class FwUpdateWorker : public QObject
{
    Q_OBJECT

public:
    /** @param settings outlives the thread on which this worker runs */
    explicit FwUpdateWorker(FwUpdateSettings *settings);

Q_SIGNALS:
    /** The walk has ended; every firmware found was handed over before.
     *  @param freeNr the first number above all that are taken */
    void done(int freeNr);

public Q_SLOTS:
    /** Walks once. Removes what an interrupted intake has left; leaves incomplete firmware where it is, whose number
     *  stays taken. Sums are not tested: intake has done so. */
    void doWork();

private:
    void examine(QDir &firmwares, const QString &name);

    FwUpdateSettings *const settings;
    int freeNr = 0;
};
