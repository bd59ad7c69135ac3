#pragma once

#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"

#include <qmz/NodekeepGlobals.h>

#include <QDBusConnection>

/** A boot environment as it is at the start of the daemon, where others look for it on the bus. */
class OwnerOnBus : public QObject, public BootEnvironmentOwner
{
public:
    OwnerOnBus()
    {
        QDBusConnection::systemBus().registerObject(qmz::NodekeepGlobals::LOADER_PATH, this);
        environment.loadEnv();
        environment.lookupConfig(mainConfig);
    }

    BootEnvironment *bootEnvironment() override { return &environment; }

    BootEnvironment environment{this};
};
