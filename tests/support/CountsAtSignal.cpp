// Part of every program and of the platform library in a coverage build; each has counters of its own. They are written
// at a program's regular end, and the daemon has none: it runs until a signal ends it.

extern "C" {
#include <gcov.h>
}

#include <array>
#include <csignal>

namespace {

constexpr std::array endings{SIGTERM, SIGABRT};
std::array<struct sigaction, NSIG> before;

/** Leaves the signal to whom it would have reached without us: the other one that has counters, then the kernel. */
void writeCounts(int number)
{
    __gcov_dump();
    ::sigaction(number, &before.at(static_cast<size_t>(number)), nullptr);
    ::raise(number);
}

[[gnu::constructor]] void writeCountsAtSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = writeCounts;
    for (const int number : endings)
        ::sigaction(number, &action, &before.at(static_cast<size_t>(number)));
}

} // namespace
