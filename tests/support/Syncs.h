#pragma once

#include <functional>

/** How often the program has called sync() since its start. A test program that asks has a sync() of ours in place of
 *  the C library's, which leaves the disks alone: it looks at when the call comes. */
int syncsSoFar();

/** Takes a look at each sync() of the program, in the midst of the call, as long as this object lives. There is one
 *  such object at a time. */
class LookAtSyncs
{
public:
    explicit LookAtSyncs(std::function<void()> look);
    ~LookAtSyncs();

    LookAtSyncs(const LookAtSyncs &) = delete;
    LookAtSyncs &operator=(const LookAtSyncs &) = delete;
};
