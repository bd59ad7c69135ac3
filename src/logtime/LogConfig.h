#pragma once

#include "logtime/SyslogFile.h"

#include <QObject>
#include <QString>

/** The settings of the device's log daemon, on the bus below its parent as "syslog".
 *
 *  They are read once, from /etc/syslog.conf at construction, and answered from memory. Each write, by slot or by
 *  property and of the present value too, rewrites the file, syncs the disks and restarts the init job "syslogd",
 *  for whose answer it waits: the bus blocks meanwhile, at most its time-out of 25 s. Start-up neither writes nor
 *  restarts.
 *
 *  Nothing but the length of a text is checked, and no failure reaches the caller. A file that can't be written keeps
 *  its old content, with which the log daemon is restarted; the setting in memory is the new one until the next
 *  start. */
class LogConfig : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.LogConfig")
    Q_PROPERTY(bool log_local READ getLocal WRITE setLocal)
    Q_PROPERTY(QString remote_log_target READ getRemote WRITE setRemote)
    Q_PROPERTY(int log_size_kb READ getLogFileSize WRITE setLogFileSize)

public:
    explicit LogConfig(QObject *parent);

public Q_SLOTS:
    /** Whether lines are kept on the device when they are also sent to a remote target. */
    bool getLocal() const;
    void setLocal(bool local);
    /** Where lines are sent to, as the log daemon's option "-R" takes it: HOST or HOST:PORT. Empty for nowhere. One of
     *  more than 1 MiB changes nothing. */
    QString getRemote() const;
    void setRemote(const QString &remoteTarget);
    /** How large the log may grow, in kilobytes. */
    int getLogFileSize() const;
    void setLogFileSize(int size);

private:
    void apply();

    SyslogSettings settings;
};
