#pragma once

#include <ctime>

/** @return what a clock shows */
inline double secondsOn(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** How long something takes, by the clock on the wall or by another one. */
template <typename Work> double secondsOf(Work work, clockid_t clock = CLOCK_MONOTONIC)
{
    const double begin = secondsOn(clock);
    work();
    return secondsOn(clock) - begin;
}
