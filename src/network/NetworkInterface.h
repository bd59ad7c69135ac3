#pragma once

#include "network/ConnmanService.h"

#include <QDBusVariant>
#include <QFileSystemWatcher>
#include <QHostAddress>
#include <QObject>

/** The device's one Ethernet port, `eth0`, on the bus at "/system/network".
 *
 *  connman owns the port. The properties show the values in work: what was last read from connman or last written by a
 *  client. A write changes the object only, until `saveChanges`; the next read from connman overwrites what was not
 *  saved, and connman's change to "ready" or "online" brings such a read.
 *
 *  When connman's state changes, the name services follow: link-local address, Avahi, "nmbd", announced host name.
 *  Calls of connman and of the tool "route" block the service. */
class NetworkInterface : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.NetworkInterface")
    /** The port's address; an empty text is not taken, one that is no address empties it. */
    Q_PROPERTY(QString ipaddress READ ipText WRITE setIpText)
    /** The network mask in the form of an address; as `ipaddress`, but an empty text is taken. */
    Q_PROPERTY(QString netmask READ netmaskText WRITE setNetmaskText)
    /** The gateway; as `netmask`. "0.0.0.0" when the kernel has no route through one. */
    Q_PROPERTY(QString gateway READ gatewayText WRITE setGatewayText)
    /** Whether a server on the network gives the address. */
    Q_PROPERTY(bool dhcp READ isDhcp WRITE setDhcp)
    /** The first name server, any text; one of more than 1 MiB is not taken. */
    Q_PROPERTY(QString nameserver MEMBER nameserver WRITE setNameserver)
    /** The port's hardware address as the boot environment tells it, the variable "eth0.ethaddr". */
    Q_PROPERTY(QString macaddress READ macAddress)

public:
    /** Subscribes to connman's signals, or ends the process, and announces the host name once. */
    explicit NetworkInterface(QObject *parent);
    /** Reads the settings at start-up if connman is there. If it comes later, its first change of state does that. */
    void checkConnman();
    /** The same as getHostname; nobody in the daemon asks for it. */
    QString hostname() const { return getHostname(); }

Q_SIGNALS: // none leaves the process
    void connmanStarted(bool online);
    void ipAddressChanged(const QString &ip);
    void netmaskChanged(const QString &netmask);
    void gatewayChanged(const QString &gateway);
    void dhcpChanged(bool dhcp);
    void getSettings(); // the boot environment is to be read anew
    void saveSettings();

public Q_SLOTS:
    /** Reads all settings anew, from connman and the kernel's routing table. Without connman the properties but
     *  `gateway` stay as they are. */
    void getCurrentSettings();
    /** Makes the properties the device's settings: writes /etc/network/interfaces and gives connman the name server.
     *  The addresses follow 1500 ms later, as they are then, so that a client on the network still gets its answer. A
     *  changed address is told as event. Boot variables are not saved, and a refusal by connman is not reported.
     *  @return false when the file can't be written; only the job "nmbd" has been stopped then */
    bool saveChanges();
    /** What connman tells of any of its services. Only the property "State" counts; `map` is its value. */
    void connmanServicePropertyChanged(const QString &name, const QDBusVariant &map);
    /** The host name as Avahi is told it, see announcedHostname(). */
    QString getHostname() const;

protected Q_SLOTS:
    void hostnameChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    QString ipText() const { return ip.toString(); }
    QString netmaskText() const { return netmask.toString(); }
    QString gatewayText() const { return gateway.toString(); }
    bool isDhcp() const { return dhcp; }
    void setIpText(const QString &text);
    void setNetmaskText(const QString &text);
    void setGatewayText(const QString &text);
    void setDhcp(bool wanted);
    void setNameserver(const QString &text);
    QString macAddress() const;
    void readConnman();
    void connmanOnline();
    void connmanIdle();
    void raiseAddressEvent();

    QHostAddress ip;
    QHostAddress oldIp; // as last told by an event
    QHostAddress netmask;
    QHostAddress gateway;
    bool dhcp = true;
    bool oldDhcp = false;
    QString nameserver;
    ConnmanService connman;
    int argumentTypeId;
    int variantTypeId;
    QFileSystemWatcher hostnameWatcher;
};
