#include "logtime/Systemtime.h"

#include "base/BusText.h"
#include "base/ChildProcess.h"
#include "base/RegularFile.h"
#include "logtime/LocalTime.h"
#include "logtime/TimeZone.h"
#include "logtime/TimeinfoText.h"
#include "logtime/ZoneTree.h"

#include <QDateTime>
#include <QProcess>

#include <ctime>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

const QString hwClock = u"/sbin/hwclock"_s;

std::optional<qint32> utcSeconds()
{
    timespec now{};
    if (::clock_gettime(CLOCK_REALTIME, &now) != 0)
        return std::nullopt;
    return deviceSeconds(static_cast<quint64>(now.tv_sec));
}

void setUtcSeconds(qint32 seconds)
{
    const timespec time{.tv_sec = seconds, .tv_nsec = 0};
    // A refused time is not reported; the hardware clock then gets the time that stayed.
    static_cast<void>(::clock_settime(CLOCK_REALTIME, &time));
}

qint32 presentOffset()
{
    return localOffset(QDateTime::currentDateTime());
}

QString toolText(const QString &program, const QStringList &arguments)
{
    return boundedText(QString::fromLocal8Bit(upToNul(toolOutput(program, arguments, noLimitMs))));
}

void setClock(const QStringList &arguments)
{
    QProcess tool;
    runTool(tool, hwClock, arguments, noLimitMs);
}

} // namespace

Systemtime::Systemtime(const QString &name, QObject *parent) : QObject(parent)
{
    setObjectName(name);
}

qint64 Systemtime::getSystemTime() const
{
    const std::optional<qint32> utc = utcSeconds();
    return utc ? localFromUtc(*utc, presentOffset()) : -1;
}

qint64 Systemtime::getSystemTimeUtc() const
{
    return utcSeconds().value_or(-1);
}

QString Systemtime::getSytemTimeAsText() const
{
    return toolText(u"/bin/date"_s, {});
}

void Systemtime::setSystemTime(quint64 secondsSinceEpoch)
{
    setUtcSeconds(utcFromLocal(deviceSeconds(secondsSinceEpoch), presentOffset()));
    systemTimeToHwClock();
}

void Systemtime::setSystemTimeUtc(quint64 secondsSinceEpoch)
{
    setUtcSeconds(deviceSeconds(secondsSinceEpoch));
    systemTimeToHwClock();
}

void Systemtime::systemTimeToHwClock()
{
    setClock({u"-w"_s, u"-u"_s});
}

void Systemtime::hwClockToSystemTime()
{
    setClock({u"-s"_s, u"-u"_s});
}

QString Systemtime::getHwTimeAsText() const
{
    return toolText(hwClock, {u"-r"_s, u"-u"_s});
}

QString Systemtime::jsonTimeinfo() const
{
    const std::optional<QByteArray> uptime = readRegularFile(u"/proc/uptime"_s);
    return uptime ? timeinfoText(*uptime, getSystemTime()) : u"{}"_s;
}

QString Systemtime::getTimezone() const
{
    return currentTimezone();
}

void Systemtime::setTimezone(const QString &zone)
{
    replaceTimezone(zone);
}

QString Systemtime::jsonTimezones() const
{
    return zoneTreeText(zoneRoot);
}
