#include <qmz/Upstart.h>

#include "CallRecord.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

constexpr int replyTimeoutMs = 30000;

void callJob(const QString &job, const QString &method, bool wait)
{
    QDBusMessage message = QDBusMessage::createMethodCall(u"com.ubuntu.Upstart"_s, u"/com/ubuntu/Upstart/jobs/"_s + job,
                                                          u"com.ubuntu.Upstart0_6.Job"_s, method);
    message << QStringList() << wait;

    const QDBusConnection bus = QDBusConnection::systemBus();
    if (wait)
        bus.call(message, QDBus::Block, replyTimeoutMs);
    else
        bus.send(message);
}

void startJob(const QString &job, bool wait)
{
    callJob(job, u"Start"_s, wait);
}

void stopJob(const QString &job, bool wait)
{
    callJob(job, u"Stop"_s, wait);
}

} // namespace

Upstart::Upstart() = default;

void Upstart::start(const QString &job, bool wait)
{
    recordCall("Upstart.start", {job, wait});
    startJob(job, wait);
}

void Upstart::stop(const QString &job, bool wait)
{
    recordCall("Upstart.stop", {job, wait});
    stopJob(job, wait);
}

void Upstart::restartNameservices()
{
    recordCall("Upstart.restartNameservices");
    for (const QString &job : {u"avahi_2ddaemon"_s, u"nmbd"_s}) {
        stopJob(job, false);
        startJob(job, false);
    }
}
