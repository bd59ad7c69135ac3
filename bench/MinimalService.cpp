// The least that a Qt service on the bus can be: what nodekeep's start-up, memory and latency are compared with.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QObject>

using namespace Qt::StringLiterals;

class MinimalService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.MinimalService")
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    static QString version() { return u"1"_s; }
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::systemBus();
    MinimalService service;
    if (!bus.registerService(u"com.ozt.minimal"_s) ||
        !bus.registerObject(u"/version"_s, &service, QDBusConnection::ExportAllProperties))
        return 1;
    return QCoreApplication::exec();
}

#include "MinimalService.moc"
