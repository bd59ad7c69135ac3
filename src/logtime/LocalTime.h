#pragma once

#include <QtGlobal>

class QDateTime;

/** @file
 *  Arithmetic on the two scales of seconds since 1970: UTC, as the kernel's clock counts, and local, the reading of a
 *  wall clock counted as if it were UTC.
 *
 *  The device holds seconds in 32 bits. Sums wrap round there, on every machine alike. */

/** A count of seconds as the device holds it: its low 32 bits. */
constexpr qint32 deviceSeconds(quint64 seconds)
{
    return static_cast<qint32>(static_cast<quint32>(seconds));
}

constexpr qint32 localFromUtc(qint32 utcSeconds, qint32 offset)
{
    return static_cast<qint32>(static_cast<quint32>(utcSeconds) + static_cast<quint32>(offset));
}

constexpr qint32 utcFromLocal(qint32 localSeconds, qint32 offset)
{
    return static_cast<qint32>(static_cast<quint32>(localSeconds) - static_cast<quint32>(offset));
}

/** How far a moment's local time is ahead of UTC, in seconds: positive to the east.
 *  @param moment in local time */
[[nodiscard]] qint32 localOffset(const QDateTime &moment);
