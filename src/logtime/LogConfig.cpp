#include "logtime/LogConfig.h"

#include "base/BusText.h"
#include "base/RegularFile.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDebug>
#include <QStringList>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString settingsPath = u"/etc/syslog.conf"_s;

void restartLogDaemon()
{
    QDBusMessage restart = QDBusMessage::createMethodCall(
        u"com.ubuntu.Upstart"_s, u"/com/ubuntu/Upstart/jobs/syslogd"_s, u"com.ubuntu.Upstart0_6.Job"_s, u"Restart"_s);
    const bool wait = false; // for the job; the answer is waited for
    restart << QStringList() << wait;
    qDebug() << QDBusConnection::systemBus().call(restart, QDBus::Block);
}

} // namespace

LogConfig::LogConfig(QObject *parent) : QObject(parent)
{
    setObjectName(u"syslog"_s);
    if (const std::optional<QByteArray> text = readRegularFile(settingsPath))
        settings = parseSyslogFile(*text);
}

bool LogConfig::getLocal() const
{
    return settings.logLocal;
}

void LogConfig::setLocal(bool local)
{
    settings.logLocal = local;
    apply();
}

QString LogConfig::getRemote() const
{
    return settings.remoteTarget;
}

void LogConfig::setRemote(const QString &remoteTarget)
{
    if (remoteTarget.size() > maxBusText)
        return;
    settings.remoteTarget = remoteTarget;
    apply();
}

int LogConfig::getLogFileSize() const
{
    return settings.logSizeKb;
}

void LogConfig::setLogFileSize(int size)
{
    settings.logSizeKb = size;
    apply();
}

void LogConfig::apply()
{
    // The file is closed last, and its text is buffered until then: the init system finds it empty when it is called.
    // Its job has to wait for the text.
    QFile file;
    if (openRegularFile(file, settingsPath, QIODevice::WriteOnly))
        file.write(syslogFile(settings));
    else
        qWarning("%s: can't be written, ignoring", qUtf8Printable(settingsPath));
    ::sync();
    restartLogDaemon();
}
