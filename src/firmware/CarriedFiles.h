#pragma once

#include <QList>
#include <QString>

/** @file
 *  The device's settings that are carried across a firmware update, which brings a new /etc: each has a copy below
 *  "/srv/nodekeep/" on the data partition, which stays. */

/** One file, and its place in the three orders of the carry-over. */
struct CarriedFile
{
    QString stored; ///< path of the copy
    QString live;   ///< path of the setting
    int restored;   ///< its place when the copies are copied back, from 1; 0 is not copied back
    int removed;    ///< its place when the copies are removed, from 1
};

/** All of them, in the order in which they are saved. The first one, "update", is the marker of an update whose
 * settings have not been restored.
 *  @param envPath directory of the unpacked boot environment, with a slash at its end */
[[nodiscard]] QList<CarriedFile> carriedFiles(const QString &envPath);
/** Those that are copied back, in that order. */
[[nodiscard]] QList<CarriedFile> inRestoreOrder(QList<CarriedFile> files);
/** All of them in the order in which the copies are removed. */
[[nodiscard]] QList<CarriedFile> inRemovalOrder(QList<CarriedFile> files);

/** Copies content and permissions of a regular file. How much of the content arrived is not looked at.
 *  @return false when there is no such file; the destination is not touched then */
bool copyFile(const QString &source, const QString &destination);
