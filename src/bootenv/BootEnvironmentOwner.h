#pragma once

class BootEnvironment;

/** What an object on the bus is that others find the boot environment by. */
class BootEnvironmentOwner
{
public:
    virtual ~BootEnvironmentOwner() = default;
    virtual BootEnvironment *bootEnvironment() = 0;
};

/** The boot environment of the object that is on the bus at qmz::NodekeepGlobals::LOADER_PATH just now; null when there
 *  is none. Ask anew at each use. */
[[nodiscard]] BootEnvironment *bootEnvironmentOnBus();
