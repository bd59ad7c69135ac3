#pragma once

#include "bootenv/FakeFlash.h"
#include "firmware/FwUpdateSettings.h"

#include <memory>

/** An update manager on a fake flash. */
class UpdateManagerFixture : public FakeFlash
{
protected:
    /** Makes the object under test, and forgets the calls of its construction. */
    void start()
    {
        construct();
        tools.clearCalls();
    }
    void construct() { manager = std::make_unique<FwUpdateSettings>(QStringLiteral("ubifs_1_2"), nullptr); }

    QStringList stores() const { return storesOf(*manager); }

    std::unique_ptr<FwUpdateSettings> manager;
};
