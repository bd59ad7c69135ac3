#include "core/CrashBacktrace.h"

#include <execinfo.h>

#include <array>
#include <cstdio>
#include <cstdlib>

void crashBacktraceHandler(int signalNumber)
{
    std::printf("Got signal %d\n", signalNumber);

    std::array<void *, 16> addresses{};
    const int count = ::backtrace(addresses.data(), static_cast<int>(addresses.size()));
    // Not freed: the process ends below.
    char **const texts = ::backtrace_symbols(addresses.data(), count);

    std::puts("[bt] Execution path:");
    for (int frame = 1; texts && frame < count; ++frame)
        std::printf("[bt] #%d %s\n", frame, texts[frame]);

    std::exit(0);
}
