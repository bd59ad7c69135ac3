#pragma once

#include <QObject>
#include <QString>

/** A signal on the system bus, whoever sends it. */
struct BusSignal
{
    QString path; ///< of the object that it comes from; null for any
    QString interface;
    QString name;
    /** Of its arguments; null for any. A slot with arguments needs it: Qt ends the process over a signal whose
     *  arguments don't fit. */
    QString signature;
};

/** Has a slot called for each such signal from now on. Ends the process when the bus refuses that.
 *  @param slot as SLOT() makes it
 *  @param refusal what the process says then */
void subscribe(const BusSignal &signal, QObject *receiver, const char *slot, const char *refusal);
