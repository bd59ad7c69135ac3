// Part of every program and of the platform library in a coverage build; each has counters of its own. They are written
// at a program's regular end, where leaks are looked for too, and the daemon has none: it runs until a signal ends it.

extern "C" {
#include <gcov.h>
}

#include <array>
#include <csignal>
#include <sanitizer/lsan_interface.h>

namespace {

constexpr std::array endings{SIGTERM, SIGABRT};
std::array<struct sigaction, NSIG> before;

/** Leaves the signal to whom it would have reached without us: the other one that has counters, then the kernel. */
void end(int number)
{
    const struct sigaction &next = before.at(static_cast<size_t>(number));
    if (number == SIGTERM && next.sa_handler == SIG_DFL) // once is enough
        __lsan_do_recoverable_leak_check();
    __gcov_dump();
    ::sigaction(number, &next, nullptr);
    ::raise(number);
}

[[gnu::constructor]] void endAtSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = end;
    for (const int number : endings)
        ::sigaction(number, &action, &before.at(static_cast<size_t>(number)));
}

} // namespace
