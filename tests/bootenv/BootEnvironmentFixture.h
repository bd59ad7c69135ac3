#pragma once

#include "FakeFlash.h"

#include "bootenv/BootEnvironment.h"

#include <memory>

/** A boot environment as it is at the start of the daemon, on a fake flash. */
class BootEnvironmentFixture : public FakeFlash
{
protected:
    /** Makes the object under test anew, and forgets the calls of its tools. */
    void start()
    {
        construct();
        tools.clearCalls();
    }

    void construct()
    {
        parent = std::make_unique<QObject>();
        environment = std::make_unique<BootEnvironment>(parent.get());
        environment->loadEnv();
        environment->lookupConfig(mainConfig);
    }

    QStringList stores() const { return storesOf(*parent); }

    std::unique_ptr<QObject> parent;
    std::unique_ptr<BootEnvironment> environment;
};
