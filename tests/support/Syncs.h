#pragma once

#include <QStringList>

#include <functional>

/** How often the program has called sync() since its start. A test program that asks has a sync() and an fsync() of
 *  ours in place of the C library's, which leave the disks alone: it looks at when the calls come. */
int syncsSoFar();

/** The paths of the files for which fsync() was called since the start, in order. */
QStringList fileSyncsSoFar();

/** Takes a look at each sync() and fsync() of the program, in the midst of the call, as long as this object lives. One
 *  at a time. */
class LookAtSyncs
{
public:
    explicit LookAtSyncs(std::function<void()> look);
    ~LookAtSyncs();

    LookAtSyncs(const LookAtSyncs &) = delete;
    LookAtSyncs &operator=(const LookAtSyncs &) = delete;
};
