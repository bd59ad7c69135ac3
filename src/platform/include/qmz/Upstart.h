#pragma once

#include <qmz/Export.h>

#include <QString>

/** The jobs of the init system.
 *
 *  The operations need no object. One is made all the same ahead of the job that may start with the daemon: a platform
 *  that has to set something up can do so in the constructor.
 *
 *  A job is named as in the init system's object paths, with "_2d" for a hyphen: "avahi_2ddaemon". Nothing is reported
 *  when a job does not exist or the init system does not answer. */
class QMZ_EXPORT Upstart
{
public:
    Upstart();

    /** Starts a job.
     *  @param wait false: returns at once; true: returns when the job runs, or after some time if it never does */
    static void start(const QString &job, bool wait);

    /** Stops a job.
     *  @param wait false: returns at once; true: returns when the job has ended, or after some time if it never does */
    static void stop(const QString &job, bool wait);

    /** Makes the services that announce the host name take up the new one. Returns at once. */
    static void restartNameservices();
};
