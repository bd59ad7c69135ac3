#pragma once

#include <QByteArrayList>
#include <QDir>
#include <QStringList>

#include <sys/stat.h>

/** Keeps packages in their place, whatever they hold: tar goes on unpacking through a link that an earlier package has
 *  left, and brings whatever else is in the archive. All is about qmz::NodekeepGlobals::UPDATE_PATH.
 *
 *  Names are bytes here, and a tree has any depth: what Qt would pass over is there for tar all the same. */
class PackageGuard
{
public:
    /** For the time before tar runs: removes what no firmware may hold from all that stand there, and links in their
     *  place. */
    void beforeUnpacking();

    /** For the time after it: removes what the package has brought beside its firmware, or into others and no firmware
     *  may hold, and gives the place itself its old owner and mode. Where another directory stands there by now, since
     *  the data partition has come or gone, nothing was unpacked into that one, and all in it stays.
     *  @param known names of firmwares that may have come meanwhile */
    void afterUnpacking(const QStringList &known);

private:
    bool isPlaceBefore(int place) const;

    QByteArrayList namesBefore;
    struct stat placeBefore = {};
};

/** Whether a firmware is a directory that holds nothing but directories, links that surely stay below it, and files
 *  that run as nobody else and fit on the partition. */
[[nodiscard]] bool isHarmless(const QDir &firmware);
