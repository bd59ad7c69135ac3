#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>

/** The device's host name: the kernel's, and its stored form in /etc/hostname. */
class Hostname : public QObject
{
    Q_OBJECT

public:
    /** Remembers the stored name, else the kernel's. When neither has one, both are given the default. */
    void readInitialHostname();
    /** From now on a change of the kernel's name, whoever makes it, is announced by the event deviceNameChange, and the
     *  name services are restarted. */
    void watchKernelHostname();

    /** The kernel's name, read anew; the default while the kernel's file can't be read. */
    QString getHostname();
    /** Changes /etc/hostname and the kernel's name. A name that is refused is told by the event hostnameInvalid, a file
     *  that can't be written by the log alone. The name that is known already changes nothing.
     *  @param name letters, digits and inner hyphens, of any length; else it is refused */
    void setHostname(const QString &name);

    /** The name as last read or written, without a look at the kernel. */
    QString lastKnown() const { return hostname; }

public Q_SLOTS:
    /** The kernel's host name has changed. */
    void hostnameChanged();

private:
    bool rememberKernelHostname();

    QString hostname; // last known
    QFileSystemWatcher watcher;
};
