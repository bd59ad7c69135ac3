#pragma once

#include <qmz/SystemEvent.h>

#include <QtGlobal>

#include <memory>
#include <optional>

class FwUpdateSettings;
class System;
class Udevmonitor;

/** All that the daemon has on the bus but its version, and what connects it. */
class ObjectTree
{
public:
    /** Makes the objects, in an order that is part of what a start does, and puts them on the bus, where the process
     *  has its name already. Ends the process when the bus or udev refuses what one of them needs. */
    ObjectTree();
    ~ObjectTree();
    Q_DISABLE_COPY_MOVE(ObjectTree)

private:
    // The last one goes first.
    std::optional<qmz::SystemEvent> testEvent;
    std::unique_ptr<Udevmonitor> blockMonitor;
    std::unique_ptr<FwUpdateSettings> updateManager;
    std::unique_ptr<System> system;
};
