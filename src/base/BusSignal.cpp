#include "base/BusSignal.h"

#include <QDBusConnection>

void subscribe(const BusSignal &signal, QObject *receiver, const char *slot, const char *refusal)
{
    if (!QDBusConnection::systemBus().connect(QString(), signal.path, signal.interface, signal.name, signal.signature,
                                              receiver, slot))
        qFatal("%s", refusal);
}
