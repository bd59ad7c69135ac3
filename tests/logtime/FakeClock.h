#pragma once

#include <ctime>
#include <optional>

/** The kernel's clock as the program sees it while one of these lives: it stands still at `now`, and is set by those
 *  who set the clock. Include it in one source of a test: the program's own functions then take the place of the
 *  system's. */
class FakeClock
{
public:
    explicit FakeClock(time_t seconds) : now(timespec{seconds, 987654321}) { current = this; }
    ~FakeClock() { current = nullptr; }
    FakeClock(const FakeClock &) = delete;
    FakeClock &operator=(const FakeClock &) = delete;

    std::optional<timespec> now;   // nothing: it can't be read
    std::optional<timespec> asked; // what it was set to last, taken or not
    bool settable = true;

    static inline FakeClock *current = nullptr;
};
