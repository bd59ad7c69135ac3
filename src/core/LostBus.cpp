#include "core/LostBus.h"

#include "base/BusSignal.h"

#include <QCoreApplication>
#include <QDBusConnection>

using namespace Qt::StringLiterals;

LostBus::LostBus()
{
    // No message of the bus's: the client library makes it up when the connection has ended.
    subscribe({u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, {}}, this,
              SLOT(leave()), "connecting to the end of the bus failed!");
    if (!QDBusConnection::systemBus().isConnected()) // it was faster
        QMetaObject::invokeMethod(this, &LostBus::leave, Qt::QueuedConnection);
}

void LostBus::leave()
{
    qWarning("The connection to the system bus is lost.");
    QCoreApplication::exit(1);
}
