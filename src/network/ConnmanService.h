#pragma once

#include "network/ConnmanSettings.h"

#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

#include <optional>

/** A client of connman's Ethernet service, on the system bus.
 *
 *  The service is looked for at the first call, and again at each until it is found; then it is kept. Calls block until
 *  connman has answered. */
class ConnmanService
{
public:
    /** Reads address, mask, method and name server. Nothing without a service; a service that does not answer leaves a
     *  line in the log. */
    ConnmanSettings getConnmanNetworkSettings();
    /** The first name server; null when there is none. Nobody in the daemon asks for it alone. */
    QString getConnmanNameserver();

    /** Gives connman the one name server, or none when the text is empty. */
    void setConnmanNameservers(const QString &server);
    /** Gives connman a method of addressing without addresses.
     *  @return what connman refused it with; empty on success, "no service" when there is nobody to ask */
    QString setConnmanMethod(bool ipv6, const QString &method);
    /** Gives connman fixed addresses. Result as for setConnmanMethod. */
    QString setConnmanManual(bool ipv6, const QString &address, const QString &mask, const QString &router);

private:
    bool findService();
    void findConnmanService();
    std::optional<QVariantMap> readProperties() const;
    QDBusMessage setProperty(const QString &name, const QVariant &value) const;

    QString servicePath; // kept once found
};
