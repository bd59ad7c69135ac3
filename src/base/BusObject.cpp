#include "base/BusObject.h"

#include <QDBusConnection>
#include <QStringList>

namespace {

QObject *descendant(QObject *object, const QStringList &names)
{
    for (const QString &name : names) {
        object = object->findChild<QObject *>(name, Qt::FindDirectChildrenOnly);
        if (!object)
            return nullptr;
    }
    return object;
}

} // namespace

QObject *objectOnBus(const QString &path)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    QStringList namesBelow;
    for (QString prefix = path; !prefix.isEmpty(); prefix.truncate(prefix.lastIndexOf(u'/'))) {
        if (QObject *const registered = bus.objectRegisteredAt(prefix))
            return descendant(registered, namesBelow);
        namesBelow.prepend(prefix.sliced(prefix.lastIndexOf(u'/') + 1));
    }
    return nullptr;
}
