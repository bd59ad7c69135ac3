#pragma once

#include <qmz/Export.h>

#include <QString>

/** The device's object dictionary: numbered entries that other programs and field buses read and write. */
class QMZ_EXPORT OdAccess
{
public:
    /** The one instance, or null when the device has no object dictionary. */
    static OdAccess *getInstance();

    /** Registers one entry and binds it to a getter and a setter on the system bus.
     *
     *  @param index number of the entry
     *  @param subIndex number within the entry
     *  @param type the dictionary's code of the value's type
     *  @param access the dictionary's code of who may do what with it
     *  @param service bus name of the service that holds the value
     *  @param path object path there
     *  @param readMethod method without arguments that returns the value
     *  @param writeMethod method that takes the value as its one argument
     *  @param label what people read
     *  @param flags further properties; 0 for none */
    void odRegisterObjectSync(int index, int subIndex, int type, unsigned int access, const QString &service,
                              const QString &path, const QString &readMethod, const QString &writeMethod,
                              const QString &label, unsigned int flags);

private:
    OdAccess() = default;
};
