#pragma once

#include <qmz/Export.h>

#include <QObject>

/** Tells the platform which bus paths this service looks after.
 *
 *  The daemon makes one right after it has taken its bus name, calls start(), and never speaks to it again; it is not
 *  deleted. None of the daemon's objects is on the bus yet at that time. */
class QMZ_EXPORT FactoryManager : public QObject
{
    Q_OBJECT

public:
    /** @param domain the parameter domain, from qmz::ConstParameter::domainForIdx()
     *  @param pattern a regular expression that the object paths of the domain match as a whole */
    FactoryManager(const QString &domain, const QString &pattern, QObject *parent);

    /** Takes up the work. It has to return at once; the rest of the device may not be up yet. This is the first virtual
     *  function that the class adds to QObject's and has to stay so: its place in the table is the binary interface. */
    virtual void start();
};
