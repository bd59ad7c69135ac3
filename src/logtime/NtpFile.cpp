#include "logtime/NtpFile.h"

namespace {

/** Asked every 16 s (2 to the power of 4), with a burst at first, so that the clock is right soon after power-up. */
QByteArray serverLine(const QByteArray &name)
{
    return "server " + name + " iburst prefer minpoll 4 maxpoll 4\n";
}

} // namespace

QByteArray ntpFile(const QString &server, const QString &dhcpServer)
{
    QByteArray text = "# ntp.conf written by nodekeep, all changes will be lost!\n"
                      "# Prohibit general access to this service\n"
                      "restrict 127.0.0.1\n";
    if (!server.isEmpty())
        text += serverLine(server.toLocal8Bit());
    if (!dhcpServer.isEmpty())
        text += serverLine(dhcpServer.toLocal8Bit());
    if (server.isEmpty() && dhcpServer.isEmpty())
        text += serverLine("127.0.0.1");
    return text;
}
