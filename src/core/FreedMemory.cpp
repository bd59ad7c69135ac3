#include "core/FreedMemory.h"

#include <QAbstractEventDispatcher>

#include <ctime>
#include <malloc.h>

using namespace std::chrono_literals;

namespace {

constexpr auto muchWork = 10ms;
constexpr auto delay = 1s;

std::chrono::nanoseconds workOfThisThread()
{
    timespec work{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &work);
    return std::chrono::seconds(work.tv_sec) + std::chrono::nanoseconds(work.tv_nsec);
}

} // namespace

FreedMemory::FreedMemory() : worked(workOfThisThread())
{
    moment.setSingleShot(true);
    connect(&moment, &QTimer::timeout, this, &FreedMemory::giveBack);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this, &FreedMemory::look);
}

void FreedMemory::look()
{
    if (!moment.isActive() && workOfThisThread() - worked >= muchWork)
        moment.start(delay);
}

void FreedMemory::giveBack()
{
    malloc_trim(0);
    worked = workOfThisThread();
}
