// The gauge's jobs are units of systemd.

#include <qmz/Upstart.h>

#include <QProcess>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

constexpr int limitMs = 30000;

void tellSystemd(const QString &verb, const QString &job, bool wait)
{
    const QString unit = QString(job).replace(u"_2d"_s, u"-"_s) + u".service"_s;
    QProcess systemctl;
    systemctl.start(u"systemctl"_s, QStringList(wait ? 0 : 1, u"--no-block"_s) << verb << u"--"_s << unit);
    if (!systemctl.waitForFinished(limitMs))
        systemctl.kill();
}

} // namespace

Upstart::Upstart() = default;

void Upstart::start(const QString &job, bool wait)
{
    tellSystemd(u"start"_s, job, wait);
}

void Upstart::stop(const QString &job, bool wait)
{
    tellSystemd(u"stop"_s, job, wait);
}

void Upstart::restartNameservices()
{
    tellSystemd(u"restart"_s, u"avahi_2ddaemon"_s, false);
}
