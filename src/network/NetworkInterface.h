#pragma once

#include <QDBusMessage>
#include <QDBusVariant>
#include <QFileSystemWatcher>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QVariantMap>

/** The device's one Ethernet port, `eth0`, on the bus at "/system/network".
 *
 *  connman owns the port; this object reads its addressing and hands it new settings, and never configures the port by
 *  itself. The properties show the values in work: what was last read from connman or last written by a client. A
 *  write changes the object only, until `saveChanges`; the next read from connman overwrites what was not saved, and
 *  connman's change to "ready" or "online" brings such a read.
 *
 *  When connman's state changes, the name services follow: the link-local address, the Avahi daemon, "nmbd", and the
 *  host name that Avahi announces, which is always the kernel's.
 *
 *  Calls of connman and of the tool "route" block the whole service while they take. */
class NetworkInterface : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.NetworkInterface")
    /** The port's address; empty when there is none. An empty text is not taken. A text that is no address empties it.
     */
    Q_PROPERTY(QString ipaddress READ ipText WRITE setIpText)
    /** The network mask in the form of an address; as `ipaddress`, but an empty text is taken. */
    Q_PROPERTY(QString netmask READ netmaskText WRITE setNetmaskText)
    /** The gateway; as `netmask`. "0.0.0.0" when the kernel has no route through one. */
    Q_PROPERTY(QString gateway READ gatewayText WRITE setGatewayText)
    /** Whether a server on the network gives the address. */
    Q_PROPERTY(bool dhcp READ isDhcp WRITE setDhcp)
    /** The first name server, any text. */
    Q_PROPERTY(QString nameserver MEMBER nameserver)
    /** The port's hardware address as the boot environment tells it, the variable "eth0.ethaddr". */
    Q_PROPERTY(QString macaddress READ macAddress)

public:
    /** Subscribes to connman's signals and announces the host name once. Connman itself is not asked for anything. Ends
     *  the process when the bus refuses the subscription. */
    explicit NetworkInterface(QObject *parent);

    /** Reads the settings at start-up if connman is there. If it comes later, its first change of state does that. */
    void checkConnman();

    /** Gives connman the one name server, or none when the text is empty. */
    void setConnmanNameservers(const QString &server);
    /** Gives connman a method of addressing without addresses.
     *  @return what connman refused it with; empty on success, "no service" when there is nobody to ask */
    QString setConnmanMethod(bool ipv6, const QString &method);
    /** Gives connman fixed addresses. Result as for setConnmanMethod. */
    QString setConnmanManual(bool ipv6, const QString &address, const QString &mask, const QString &router);
    /** The first name server as connman tells it; empty when there is none. */
    QString getConnmanNameserver();

    /** The same as getHostname. */
    QString hostname() const;
    /** The host name with its domain as Avahi announces it, "qmz.local" when Avahi does not answer. */
    QString getHostnameFqdn() const;

Q_SIGNALS:
    // None leaves the process.
    void connmanStarted(bool online);
    void ipAddressChanged(const QString &ip);
    void netmaskChanged(const QString &netmask);
    void gatewayChanged(const QString &gateway);
    void dhcpChanged(bool dhcp);
    /** The boot environment is to be read anew. */
    void getSettings();
    void saveSettings();

public Q_SLOTS:
    /** Reads all settings anew, from connman and the kernel's routing table. Without connman the properties but
     *  `gateway` stay as they are. */
    void getCurrentSettings();
    /** Makes the properties the device's settings: writes /etc/network/interfaces and gives connman the name server.
     *  The addresses follow 1500 ms later, so that a client on the network still gets its answer; they are the
     *  properties of that moment. A changed address is told as event. Boot variables are not saved.
     *  @return false when the file can't be written; only the job "nmbd" has been stopped then. A refusal by connman is
     *          not reported. */
    bool saveChanges();
    /** What connman tells of any of its services. Only the property "State" counts.
     *  @param map the property's value */
    void connmanServicePropertyChanged(const QString &name, const QDBusVariant &map);
    /** The kernel's host name with "?" for each character beyond ASCII; "qmz" when it can't be read. */
    QString getHostname() const;

protected Q_SLOTS:
    /** Tells Avahi what getHostname answers. */
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
    QString macAddress() const;

    bool findService();
    void findConnmanService();
    void getConnmanNetworkSettings();
    bool parseConnmanSettings(const QVariantMap &settings);
    bool readConnmanProperties(QVariantMap &properties) const;
    QDBusMessage setConnmanProperty(const QString &name, const QVariant &value) const;

    void connmanOnline();
    void connmanIdle();
    void raiseAddressEvent();

    QHostAddress ip;
    QHostAddress oldIp; // as last told by an event
    QHostAddress netmask;
    QHostAddress gateway;
    bool dhcp = true;
    bool oldDhcp = false;
    QString servicePath; // of connman's Ethernet service; kept once found
    QString nameserver;
    int argumentTypeId;
    int variantTypeId;
    QFileSystemWatcher hostnameWatcher;
};
