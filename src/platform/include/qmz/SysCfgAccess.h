#pragma once

#include <qmz/Export.h>

/** Access to the device's own hardware configuration. */
class QMZ_EXPORT SysCfgAccess
{
public:
    /** The one instance; never null. */
    static SysCfgAccess *getInstance();

    /** Starts a pattern on the device's signal LED and returns at once. A pattern that still runs is replaced.
     *
     *  @param durationSeconds after which the LED is dark again
     *  @param effect the pattern: 1 an update failed, 2 a download runs, 3 a package is unpacked, 5 a firmware is
     *                checked or the PLC applications were restored, 6 "here I am" */
    void startLedEffect(int durationSeconds, int effect);

private:
    SysCfgAccess() = default;
};
