#include "support/Impatience.h"

#include <dlfcn.h>
#include <poll.h>

#include <algorithm>
#include <cmath>

namespace {

// An event loop that waits for its next timer is let wait.
constexpr time_t leastLimit = 5;

bool isImpatient = false;
double longest = 0;

} // namespace

// In place of the C library's, by which QProcess waits.
extern "C" __attribute__((visibility("default"))) int ppoll(pollfd *descriptors, nfds_t count, const timespec *limit,
                                                            const sigset_t *mask)
{
    if (isImpatient && limit && limit->tv_sec >= leastLimit) {
        longest = std::max(longest, static_cast<double>(limit->tv_sec) + static_cast<double>(limit->tv_nsec) / 1e9);
        return 0;
    }
    static const auto theirs = reinterpret_cast<decltype(&ppoll)>(::dlsym(RTLD_NEXT, "ppoll"));
    return theirs(descriptors, count, limit, mask);
}

Impatience::Impatience()
{
    longest = 0;
    isImpatient = true;
}

Impatience::~Impatience()
{
    isImpatient = false;
}

int Impatience::longestLimit() const
{
    return static_cast<int>(std::lround(longest));
}
