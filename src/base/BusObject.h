#pragma once

#include <QObject>
#include <QString>

/** Finds one of the daemon's own objects by its bus address.
 *
 *  Unlike QDBusConnection::objectRegisteredAt it also finds the objects that are on the bus only as named children of
 *  a registered one: the longest registered prefix of the path is taken, then the object names below it are followed.
 *
 *  @param path an absolute object path such as "/system/network"
 *  @return null when no object stands there */
[[nodiscard]] QObject *objectOnBus(const QString &path);

/** The same, null also when the object is of another class. */
template <typename Class> [[nodiscard]] Class *objectOnBus(const QString &path)
{
    return dynamic_cast<Class *>(objectOnBus(path));
}
