#pragma once

#include <QObject>
#include <QString>

/** The device's clocks and its time zone, on the bus below its parent.
 *
 *  Two clocks: the kernel's, which all programs see, and the hardware clock, which keeps the time while the device is
 *  off and always runs in UTC. Nothing moves between them but by a call; setting the kernel's clock sets the hardware
 *  clock too. Nothing is kept here: every call asks the system again.
 *
 *  Seconds count from 1970-01-01, either in UTC or local: the wall clock's reading counted as if it were UTC. The
 *  device holds 32 bits of them; of an argument the low 32 count.
 *
 *  `timezone` is the zone's path below /usr/share/zoneinfo, such as "Europe/Berlin"; see TimeZone. Writing a zone that
 *  doesn't exist changes nothing.
 *
 *  No failure is told to the caller other than by the results below. Tools are waited for without limit. */
class Systemtime : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.Systemtime")
    Q_PROPERTY(QString timezone READ getTimezone WRITE setTimezone)

public:
    /** @param name the object name, which is the last part of the address on the bus */
    Systemtime(const QString &name, QObject *parent);

    QString getTimezone() const;
    void setTimezone(const QString &zone);

public Q_SLOTS:
    /** @return local seconds, -1 when the clock can't be read */
    qint64 getSystemTime() const;
    /** @return UTC seconds, -1 when the clock can't be read */
    qint64 getSystemTimeUtc() const;
    /** @return what /bin/date says, line end included; empty when it can't be run. The slot's name is the bus's. */
    QString getSytemTimeAsText() const;
    /** Sets both clocks. The offset to UTC is the present one, so a time beyond a change of daylight saving lands an
     *  hour off. The hardware clock is written even if the kernel refuses the time.
     *  @param secondsSinceEpoch local seconds; fractions begin anew at zero */
    void setSystemTime(quint64 secondsSinceEpoch);
    /** As `setSystemTime`, from UTC seconds. */
    void setSystemTimeUtc(quint64 secondsSinceEpoch);
    void systemTimeToHwClock();
    void hwClockToSystemTime();
    /** @return what /sbin/hwclock says, line end included; empty when it can't be run */
    QString getHwTimeAsText() const;
    /** @return uptime, idle time and local seconds as JSON text, see timeinfoText; `{}` without /proc/uptime */
    QString jsonTimeinfo() const;
    /** @return all zones as JSON text, see zoneTreeText */
    QString jsonTimezones() const;
};
