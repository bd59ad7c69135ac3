#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class BareboxConfig;

/** Named values of the device, kept in the boot environment's file "system"; on the bus below "/system".
 *
 *  The object holds nothing of its own. When there is no store "system", the first access makes one and thereby selects
 *  it as the update manager's current store. Without an update manager on the bus, every answer is empty or false. */
class Constants : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.Constants")

public:
    explicit Constants(QObject *parent);

public Q_SLOTS:
    /** Changes a value and saves the whole boot environment to flash, each time: the service is blocked meanwhile, up
     *  to a minute. Whether saving worked is not told.
     *  @return false when there is no store */
    bool set(const QString &name, const QString &value);
    /** The value as stored, quotes included; empty for an unknown name. */
    QString get(const QString &name);
    QStringList variableList();
    /** Whether there is such a value, if only an empty one. */
    bool isAvailable(const QString &name);

private:
    static BareboxConfig *store();
    static void saveStores();
};
