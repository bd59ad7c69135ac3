// A client with classes that are generated from the interface files.
//
//   nodekeep-client hostname [NAME]
//   nodekeep-client address dhcp
//   nodekeep-client address ADDRESS NETMASK GATEWAY [NAMESERVER]
//   nodekeep-client update PACKAGE       a file on the device whose name ends in "fwupdate"; the daemon removes it
//
// The device takes an address 1.5 seconds after saveChanges. An update is followed until the device is up with it,
// both reboots included; with DBUS_SYSTEM_BUS_ADDRESS this can run on another machine, and so lives through them.
// Status 1: refused, or not up again in time; 2: wrong use.

#include "FwUpdateSettings.h"
#include "NandUpdate.h"
#include "NetworkInterface.h"
#include "System.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <QThread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString service = u"com.ozt.nodekeep"_s;
constexpr int flashTimeoutMs = 120'000; // calls that write the flash answer when that is done

QTextStream out(stdout);
QTextStream err(stderr);

int fail(const QString &text)
{
    err << text << Qt::endl;
    return 1;
}

void stage(int number, const QString &text)
{
    out << '[' << number << "/6] " << text << Qt::endl;
}

int hostname(const QStringList &names)
{
    System system(service, u"/system"_s, QDBusConnection::systemBus());
    if (names.isEmpty()) {
        out << system.hostname() << Qt::endl;
        return 0;
    }
    system.setHostname(names.first());
    // A refusal is no error on the bus.
    const QString now = system.hostname();
    if (now == names.first())
        return 0;
    return fail(u"The device does not take the name \"%1\" and stays \"%2\"."_s.arg(names.first(), now));
}

int address(const QStringList &words)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    NetworkInterface port(service, u"/system/network"_s, bus);
    const bool isFixed = words.size() > 1;
    if (isFixed) {
        port.setIpaddress(words.at(0));
        port.setNetmask(words.at(1));
        port.setGateway(words.at(2));
        port.setNameserver(words.value(3));
        // A text that is no address is taken and reads back empty.
        if (port.ipaddress().isEmpty() || port.netmask().isEmpty() || port.gateway().isEmpty()) {
            port.getCurrentSettings().waitForFinished();
            return fail(u"One of these is no address: "_s + words.first(3).join(u' '));
        }
    }
    port.setDhcp(!isFixed);
    port.setTimeout(flashTimeoutMs);
    if (!port.saveChanges().value())
        return fail(u"The device can't write its interfaces file."_s);
    // The boot loader has the same settings; they are in memory by now.
    FwUpdateSettings loader(service, u"/loader"_s, bus);
    loader.setTimeout(flashTimeoutMs);
    loader.saveEnv().waitForFinished();
    return 0;
}

/** The versions of the firmware on the device, by path. */
QMap<QString, QString> firmware(FwUpdateSettings &loader)
{
    QMap<QString, QString> versions;
    const QString listed = loader.jsonFwUpdates().value();
    for (const QJsonValue &record : QJsonDocument::fromJson(listed.toUtf8()).array())
        versions.insert(record[u"path"].toString(), record[u"version"].toString());
    return versions;
}

/** Has the device unpack and test a package.
 *  @return the path of the firmware that came of it; empty when it was refused */
QString keep(const QString &package, FwUpdateSettings &loader)
{
    const QMap<QString, QString> before = firmware(loader);
    // Kept first, so that it can be told from one that is refused.
    loader.setOnlyUploadFirmware(true);
    stage(1, u"announcing "_s + package);
    QDBusMessage upload = QDBusMessage::createSignal(u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s);
    upload << package << QFileInfo(package).fileName();
    QDBusConnection::systemBus().send(upload);
    stage(2, u"unpacking and testing"_s);
    for (const QDeadlineTimer limit(300s); !limit.hasExpired(); QThread::msleep(200)) {
        const QMap<QString, QString> now = firmware(loader);
        for (auto record = now.begin(); record != now.end(); ++record) {
            if (!before.contains(record.key())) {
                stage(3, u"starting %1, version %2"_s.arg(record.key(), record.value()));
                return record.key();
            }
        }
    }
    return {};
}

/** Each boot has a bus of its own.
 *  @return empty while the device is down */
QString bootOf(const QDBusConnection &bus)
{
    const QDBusReply<QString> id = bus.call(
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s, u"org.freedesktop.DBus"_s, u"GetId"_s));
    return id.isValid() ? id.value() : QString();
}

/** Waits until the device is up with its settings. A first start ends by itself, with the second reboot. */
int followReboots(const QString &firstBoot)
{
    QString seen = firstBoot;
    for (const QDeadlineTimer limit(900s); !limit.hasExpired(); QThread::msleep(200)) {
        const QString name = u"attempt"_s; // a connection that is lost does not come back
        QDBusConnection::disconnectFromBus(name);
        const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
        const QString boot = bootOf(bus);
        if (boot.isEmpty() || boot == firstBoot)
            continue;
        FwUpdateSettings loader(service, u"/loader"_s, bus);
        QDBusPendingReply<bool> isFirstStart = loader.getFactoryInit();
        isFirstStart.waitForFinished();
        if (isFirstStart.isError())
            continue;
        if (!isFirstStart.value()) {
            System system(service, u"/system"_s, bus);
            stage(6, u"up with version "_s + system.oztversion());
            return 0;
        }
        if (boot != seen)
            stage(5, u"first start: the settings are brought back"_s);
        seen = boot;
    }
    return fail(u"The device does not come up."_s);
}

int update(const QString &package)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    FwUpdateSettings loader(service, u"/loader"_s, bus);
    const QString boot = bootOf(bus);
    const QString path = keep(package, loader);
    if (path.isEmpty())
        return fail(u"The device has refused the package: its event log tells at which step."_s);
    NandUpdate record(service, path, bus);
    record.setTimeout(flashTimeoutMs);
    record.startUpdate().waitForFinished(); // without an answer, as the device goes down
    stage(4, u"the boot stage writes the images"_s);
    return followReboots(boot);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments().mid(1);
    const QString task = words.value(0);
    const QStringList rest = words.mid(1);
    if (task == "hostname"_L1 && rest.size() <= 1)
        return hostname(rest);
    if (task == "address"_L1 && (rest == QStringList(u"dhcp"_s) || rest.size() == 3 || rest.size() == 4))
        return address(rest);
    if (task == "update"_L1 && rest.size() == 1 && rest.first().endsWith("fwupdate"_L1))
        return update(rest.first());
    err << "Usage: nodekeep-client hostname [NAME]\n"
           "       nodekeep-client address dhcp | ADDRESS NETMASK GATEWAY [NAMESERVER]\n"
           "       nodekeep-client update PACKAGE-fwupdate\n";
    return 2;
}
