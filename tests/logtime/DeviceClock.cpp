// A clock of its own for programs of a simulated device that have this preloaded: it runs with the machine's, ahead of
// it by what the file /run/device-clock says, and setting it changes that file alone. A device may not set the
// machine's clock, and all its programs are to agree on the time.

#include <cerrno>
#include <cstdio>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr const char *path = "/run/device-clock";
constexpr long nanosecondsOfASecond = 1'000'000'000;

// By the kernel's own door: what the C library offers under this name is we.
int machineClock(clockid_t clock, timespec *time)
{
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

timespec normal(timespec time)
{
    if (time.tv_nsec < 0)
        return {time.tv_sec - 1, time.tv_nsec + nanosecondsOfASecond};
    if (time.tv_nsec >= nanosecondsOfASecond)
        return {time.tv_sec + 1, time.tv_nsec - nanosecondsOfASecond};
    return time;
}

timespec lead()
{
    long long seconds = 0;
    long nanoseconds = 0;
    if (FILE *const file = std::fopen(path, "re")) {
        if (std::fscanf(file, "%lld %ld", &seconds, &nanoseconds) != 2)
            seconds = nanoseconds = 0;
        std::fclose(file);
    }
    return {static_cast<time_t>(seconds), nanoseconds};
}

timespec deviceTime()
{
    timespec now{};
    machineClock(CLOCK_REALTIME, &now);
    const timespec ahead = lead();
    return normal({now.tv_sec + ahead.tv_sec, now.tv_nsec + ahead.tv_nsec});
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_REALTIME && clock != CLOCK_REALTIME_COARSE)
        return machineClock(clock, time);
    *time = deviceTime();
    return 0;
}

int gettimeofday(timeval *time, void *) noexcept
{
    const timespec now = deviceTime();
    *time = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}

time_t time(time_t *seconds) noexcept
{
    const time_t now = deviceTime().tv_sec;
    if (seconds)
        *seconds = now;
    return now;
}

int clock_settime(clockid_t clock, const timespec *time) noexcept
{
    if (clock != CLOCK_REALTIME || time->tv_sec < 0 || time->tv_nsec < 0 || time->tv_nsec >= nanosecondsOfASecond) {
        errno = EINVAL;
        return -1;
    }
    timespec now{};
    machineClock(CLOCK_REALTIME, &now);
    const timespec ahead = normal({time->tv_sec - now.tv_sec, time->tv_nsec - now.tv_nsec});
    FILE *const file = std::fopen(path, "we");
    if (!file) {
        errno = EPERM;
        return -1;
    }
    std::fprintf(file, "%lld %ld\n", static_cast<long long>(ahead.tv_sec), ahead.tv_nsec);
    std::fclose(file);
    return 0;
}

} // extern "C"
