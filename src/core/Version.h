#pragma once

#include <QObject>
#include <QString>

/** Tells which build of the daemon runs, on the bus at "/version".
 *
 *  Both properties are stamped in at build time, from the CMake cache variables NODEKEEP_VERSION and NODEKEEP_GITHASH.
 */
class Version : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.Version")
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QString githash READ githash CONSTANT)

public:
    using QObject::QObject;

    static QString version();
    static QString githash();
};
