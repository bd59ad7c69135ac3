#pragma once

#include <qmz/Export.h>

#include <QtGlobal>

namespace qmz {

/** @file
 *  The device's global status area: memory that its processes share. At byte 3930, and so not aligned, stands a 32-bit
 *  little-endian status word. It has no lock: a change made by two processes at the same time may be lost. */

/** Bits of the status word, counted from 0 for the lowest: the password of a user level is switched off. */
extern QMZ_EXPORT const int SYSSTAT_LEVEL2_PW_DISABLE_BITNR;
extern QMZ_EXPORT const int SYSSTAT_LEVEL3_PW_DISABLE_BITNR;

/** The way to the global status area. There is one instance, qmz::globAcc. */
class QMZ_EXPORT GenGlobAccess
{
public:
    /** Attaches to the area and makes it, filled with zeros, when it does not exist yet. Called at most once in the
     *  life of a process. When the area can't be had, bytes() stays an area of this process alone. */
    void attach();

    /** The first byte of the area; never null, and long enough for the status word. Before attach() it is an area of
     *  this process alone. */
    quint8 *bytes();
};

extern QMZ_EXPORT GenGlobAccess globAcc;

} // namespace qmz
