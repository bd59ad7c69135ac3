#include "logtime/NtpConfig.h"

#include "base/BusSignal.h"
#include "base/BusText.h"
#include "base/RegularFile.h"
#include "bootenv/BareboxConfig.h"
#include "logtime/NtpFile.h"

#include <qmz/Upstart.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {

const QString serverVariable = u"NTPSERVER"_s;
const QString job = u"ntp"_s;

} // namespace

NtpConfig::NtpConfig(BareboxConfig *store, QObject *parent) : QObject(parent), variables(store)
{
    // Without its name the type would be unknown to the bus, and the slot never called.
    qRegisterMetaType<QDBusVariant>("QDBusVariant");
    subscribe({{}, u"net.connman.Service"_s, u"PropertyChanged"_s, u"sv"_s}, this,
              SLOT(connmanServicePropertyChanged(QString, QDBusVariant)), "Connman property connect failed!");

    setObjectName(u"ntp"_s);
    server = boundedText(variables->getTrimmed(serverVariable));
    writeConfiguration();
}

QStringList NtpConfig::getUsedNtpServer() const
{
    QStringList used{server, dhcpServer};
    used.removeAll(QString());
    return used;
}

void NtpConfig::setNtpServer(const QString &ntpServer)
{
    if (ntpServer.size() > maxBusText)
        return;
    server = ntpServer;
    variables->set(serverVariable, server);
    variables->save();
    restartJob();
}

void NtpConfig::connmanStarted()
{
    QDBusMessage setProperty =
        QDBusMessage::createMethodCall(u"net.connman"_s, u"/"_s, u"net.connman.Clock"_s, u"SetProperty"_s);
    setProperty << u"TimeUpdates"_s << QVariant::fromValue(QDBusVariant(u"manual"_s));
    QDBusConnection::systemBus().call(setProperty, QDBus::Block);
}

void NtpConfig::connmanServicePropertyChanged(const QString &name, const QDBusVariant &map)
{
    if (name != "Timeservers"_L1)
        return;
    dhcpServer = boundedText(map.variant().toString()); // of a list: its only entry, or nothing
    qDebug() << "DHCP Timeserver:" << dhcpServer;
    restartJob();
}

void NtpConfig::restartJob()
{
    Upstart::stop(job, true);
    writeConfiguration();
}

void NtpConfig::writeConfiguration()
{
    QDir directory(u"/var/run"_s);
    directory.mkdir(u"ntp"_s);
    static_cast<void>(directory.cd(u"ntp"_s)); // where it can't go, the file lies above
    const QString path = directory.absoluteFilePath(u"ntp.conf"_s);

    QFile file;
    if (!openRegularFile(file, path, QIODevice::WriteOnly)) {
        qWarning("%s: can't be written, ignoring", qUtf8Printable(path));
        return;
    }
    file.write(ntpFile(server, dhcpServer));
    file.close();
    Upstart::start(job, false);
}
