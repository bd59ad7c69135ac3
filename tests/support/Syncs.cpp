#include "support/Syncs.h"

#include <unistd.h>

#include <atomic>

namespace {

std::atomic<int> syncs = 0;

} // namespace

extern "C" void sync()
{
    ++syncs;
}

int syncsSoFar()
{
    return syncs;
}
