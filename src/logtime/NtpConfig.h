#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <QStringList>

class BareboxConfig;

/** The time servers that the NTP daemon uses, on the bus below its parent as "ntp".
 *
 *  There are two: one that the user set, kept in the device variable "NTPSERVER", and one that the network announced,
 *  which connman reports and which is not kept. The daemon is given both, with the same preference; the device's own
 *  address stands in when there is none. It reads them from /var/run/ntp/ntp.conf, which is written anew, directory
 *  included, at construction and with each change. The job "ntp" is then started; with a change it is stopped first,
 *  and the bus blocks until it has ended.
 *
 *  Names are not checked. A configuration that can't be written leaves the job as it is, after a change: stopped.
 *  Callers are told of no failure. */
class NtpConfig : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.NtpConfig")
    Q_PROPERTY(QString server READ getServer WRITE setNtpServer)
    Q_PROPERTY(QString dhcpServer READ getDhcpServer)

public:
    /** Ends the program when connman's reports can't be subscribed to.
     *  @param store the device variables; must outlive the object */
    NtpConfig(BareboxConfig *store, QObject *parent);

    QString getServer() const { return server; }
    QString getDhcpServer() const { return dhcpServer; }

public Q_SLOTS:
    /** The servers that are known, the user's first; never the stand-in. */
    QStringList getUsedNtpServer() const;
    /** @param ntpServer name or address; empty for none. One of more than 1 MiB changes nothing */
    void setNtpServer(const QString &ntpServer);

protected Q_SLOTS:
    /** Has connman leave the clock to the NTP daemon. */
    void connmanStarted();
    /** A property of any service of connman has changed. The latest report counts, whichever service it is from.
     *  @param map the value; for "Timeservers" a list, which counts when it has exactly one entry */
    void connmanServicePropertyChanged(const QString &name, const QDBusVariant &map);

private:
    void restartJob();
    void writeConfiguration();

    QString server;
    QString dhcpServer; // empty when not exactly one is announced
    BareboxConfig *variables;
};
