#pragma once

#include "Seconds.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>

/** A piece of work, which tells the seconds that it took without what prepares it. */
using Task = std::function<double()>;

/** How long a task takes, or what processor time where the environment asks for that. */
template <typename Work> double taskSeconds(Work work)
{
    static const bool processor = std::getenv("BENCH_PROCESSOR_TIME") != nullptr;
    return secondsOf(work, processor ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC);
}

/** Does what the lines of standard input name and answers each with the seconds, until there are no more. So tasks of
 *  the daemon's own code are measured in turns with other programs.
 *  @return the exit status, 1 after a name that is none of them */
inline int serveTasks(const std::map<std::string, Task> &tasks)
{
    for (std::string name; std::getline(std::cin, name);) {
        const auto task = tasks.find(name);
        if (task == tasks.end())
            return 1;
        std::printf("%.9f\n", task->second());
        std::fflush(stdout);
    }
    return 0;
}
