#include <qmz/GenGlobAccess.h>

#include "CallRecord.h"

#include <QtGlobal>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {

constexpr std::size_t areaBytes = 8192;

/** @return null when there is no shared memory to be had */
void *mapSharedArea()
{
    // One that exists is opened without O_CREAT: where another user has made it, the kernel's protection of sticky
    // directories refuses that flag even to root.
    int descriptor = ::shm_open("/qmz_globals", O_RDWR | O_CLOEXEC, 0660);
    if (descriptor < 0 && errno == ENOENT)
        descriptor = ::shm_open("/qmz_globals", O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    if (descriptor < 0)
        return nullptr;
    // Allocated, not merely long enough: with /dev/shm full, the first access to a hole would end the process.
    const bool allocated = ::posix_fallocate(descriptor, 0, areaBytes) == 0;
    void *const mapped =
        allocated ? ::mmap(nullptr, areaBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0) : MAP_FAILED;
    ::close(descriptor);
    return mapped == MAP_FAILED ? nullptr : mapped;
}

// Stands in until the shared area is attached, and for good where there is none to be had.
std::array<quint8, areaBytes> privateArea{};
quint8 *area = privateArea.data();

} // namespace

namespace qmz {

GenGlobAccess globAcc;

void GenGlobAccess::attach()
{
    recordCall("GenGlobAccess.attach");
    void *const shared = mapSharedArea();
    if (!shared)
        qWarning("/qmz_globals: no shared memory to be had, the status is seen by this process alone");
    area = shared ? static_cast<quint8 *>(shared) : privateArea.data();
}

quint8 *GenGlobAccess::bytes()
{
    return area;
}

} // namespace qmz
