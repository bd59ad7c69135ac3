#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariant>

/** Returns when the bus has taken up all that a connection has sent it. A subscription is sent and not waited for, so a
 *  signal that another connection sends right behind it can be there first. */
void letBusCatchUp(const QDBusConnection &connection = QDBusConnection::systemBus());

/** Has an object and its children on the system bus, with their slots and properties. */
void putOnBus(const QString &path, QObject *object);

/** Another program on the system bus, as far as the bus can tell: it has a connection of its own, and calls the
 *  objects that the test registered on the default one. The event loop runs while it waits for an answer. */
class BusClient
{
public:
    BusClient();
    ~BusClient();
    Q_DISABLE_COPY_MOVE(BusClient)

    /** Calls a method and returns the answer, an error message included. */
    QDBusMessage call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments = {});
    /** As `call`, for the first value of the answer; invalid when there is none. */
    QVariant value(const QString &path, const QString &interface, const QString &method,
                   const QVariantList &arguments = {});

    /** The value of a property; invalid when there is none. */
    QVariant getProperty(const QString &path, const QString &interface, const QString &name);
    QDBusMessage setProperty(const QString &path, const QString &interface, const QString &name, const QVariant &value);

    /** What an object says of itself: the members of one of its interfaces, each as in
     *  "method get(s) -> s", "property hostname s readwrite" or "signal scan()", in order. */
    QStringList members(const QString &path, const QString &interface);
    /** The names of the nodes below a path, sorted. */
    QStringList children(const QString &path);

private:
    QDBusConnection connection;
};
