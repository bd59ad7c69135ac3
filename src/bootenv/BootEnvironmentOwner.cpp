#include "bootenv/BootEnvironmentOwner.h"

#include "base/BusObject.h"

#include <qmz/NodekeepGlobals.h>

BootEnvironment *bootEnvironmentOnBus()
{
    auto *const owner = objectOnBus<BootEnvironmentOwner>(qmz::NodekeepGlobals::LOADER_PATH);
    return owner ? owner->bootEnvironment() : nullptr;
}
