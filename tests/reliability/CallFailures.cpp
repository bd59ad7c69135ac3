// Lets calls of the C library fail in the daemon that has this preloaded, and writes down which ones it makes. What
// fails is told through the file /run/faults, which tests/support/callfailures.py maps as well. The daemon's tools are
// left alone, and so is all that goes through a socket: a bus that fails is another matter.

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <pthread.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr const char *path = "/run/faults";
constexpr const char *daemonPath = "/usr/sbin/nodekeep";
constexpr std::uint32_t maxCalls = 16384;

struct Call
{
    char name[24];
    char target[232];
};

struct Control
{
    std::atomic<std::uint32_t> isArmed;
    std::atomic<std::uint32_t> count; // of the calls that were written down
    std::uint32_t error;              // 0: none fails
    std::uint32_t isLasting;          // whether later calls of the victim's kind fail too
    std::uint32_t occurrence;         // of the victim, from 1
    std::atomic<std::uint32_t> met;   // how many calls of the victim's kind there were
    std::atomic<std::uint32_t> failed;
    std::uint32_t reserved[57];
    Call victim; // its target is a pattern
    Call calls[maxCalls];
};

Control *control = nullptr;
pid_t daemonPid = 0;

template <typename Function> Function *next(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

#define NEXT(name) static auto *const original = next<decltype(name)>(#name)

ssize_t linkText(const char *link, char *text, size_t size)
{
    static auto *const original = next<decltype(::readlink)>("readlink");
    return original(link, text, size);
}

__attribute__((constructor)) void begin()
{
    char program[64] = {};
    linkText("/proc/self/exe", program, sizeof program - 1);
    if (std::strcmp(program, daemonPath) != 0)
        return;
    ::unsetenv("LD_PRELOAD");
    const int descriptor = next<decltype(::open)>("open")(path, O_RDWR | O_CLOEXEC);
    if (descriptor < 0)
        return;
    void *const area = ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    if (area == MAP_FAILED)
        return;
    daemonPid = ::getpid();
    control = static_cast<Control *>(area);
}

/** What becomes of a call: 0, or the error that it is to fail with. */
int errorOf(const char *name, const char *target)
{
    const std::uint32_t number = control->count++;
    if (number < maxCalls) {
        Call &call = control->calls[number];
        std::snprintf(call.name, sizeof call.name, "%s", name);
        std::snprintf(call.target, sizeof call.target, "%s", target);
    }
    if (control->error == 0 || std::strcmp(control->victim.name, name) != 0 ||
        ::fnmatch(control->victim.target, target, 0) != 0)
        return 0;
    const std::uint32_t occurrence = ++control->met;
    if (occurrence < control->occurrence || (occurrence > control->occurrence && !control->isLasting))
        return 0;
    ++control->failed;
    return static_cast<int>(control->error);
}

/** Whether calls count just now: those of a child, until it has become its program, don't. */
bool isWatched()
{
    return control && control->isArmed && ::getpid() == daemonPid;
}

/** Whether the call fails, a child's too; errno is set then. */
bool failsAnywhere(const char *name, const char *target)
{
    if (!control || !control->isArmed)
        return false;
    const int before = errno;
    const int error = errorOf(name, target ? target : "");
    errno = error ? error : before;
    return error != 0;
}

bool fails(const char *name, const char *target)
{
    return isWatched() && failsAnywhere(name, target);
}

/** The same for a call on a descriptor. */
bool fails(const char *name, int descriptor)
{
    if (!isWatched())
        return false;
    char link[32];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    Call file = {};
    const int before = errno;
    linkText(link, file.target, sizeof file.target - 1);
    errno = before;
    if (std::strncmp(file.target, "pipe:", 5) == 0)
        return fails(name, "a pipe");
    return file.target[0] == '/' && fails(name, file.target);
}

/** How a file is opened is part of what is called. */
const char *openName(int flags)
{
    return (flags & O_ACCMODE) == O_RDONLY ? "open" : "open to write";
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#define FAULTY(result, failure, name, parameters, target, call)                                                        \
    result name parameters                                                                                             \
    {                                                                                                                  \
        NEXT(name);                                                                                                    \
        return fails(#name, target) ? (failure) : original call;                                                       \
    }

extern "C" {

int open(const char *file, int flags, ...)
{
    NEXT(open);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return fails(openName(flags), file) ? -1 : original(file, flags, mode);
}

int open64(const char *file, int flags, ...)
{
    NEXT(open64);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return fails(openName(flags), file) ? -1 : original(file, flags, mode);
}

FAULTY(int, -1, shm_open, (const char *name, int flags, mode_t mode), name, (name, flags, mode))
FAULTY(ssize_t, -1, read, (int file, void *data, size_t size), file, (file, data, size))
FAULTY(ssize_t, -1, write, (int file, const void *data, size_t size), file, (file, data, size))
FAULTY(ssize_t, -1, sendfile, (int to, int from, off_t *offset, size_t size), to, (to, from, offset, size))
FAULTY(int, -1, fsync, (int file), file, (file))
FAULTY(int, -1, fdatasync, (int file), file, (file))
FAULTY(int, -1, ftruncate, (int file, off_t size), file, (file, size))
FAULTY(int, -1, ftruncate64, (int file, off64_t size), file, (file, size))
FAULTY(int, errno, posix_fallocate, (int file, off_t at, off_t size), file, (file, at, size))

FAULTY(int, -1, fstat, (int file, struct stat *status), file, (file, status))
FAULTY(int, -1, fstat64, (int file, struct stat64 *status), file, (file, status))
FAULTY(int, -1, stat, (const char *file, struct stat *status), file, (file, status))
FAULTY(int, -1, stat64, (const char *file, struct stat64 *status), file, (file, status))
FAULTY(int, -1, lstat, (const char *file, struct stat *status), file, (file, status))
FAULTY(int, -1, lstat64, (const char *file, struct stat64 *status), file, (file, status))
FAULTY(int, -1, access, (const char *file, int mode), file, (file, mode))
FAULTY(ssize_t, -1, readlink, (const char *file, char *text, size_t size), file, (file, text, size))

int statx(int directory, const char *file, int flags, unsigned mask, struct statx *status)
{
    NEXT(statx);
    const bool hasFailed = (flags & AT_EMPTY_PATH) ? fails("statx", directory) : fails("statx", file);
    return hasFailed ? -1 : original(directory, file, flags, mask, status);
}

FAULTY(DIR *, nullptr, opendir, (const char *directory), directory, (directory))
FAULTY(struct dirent *, nullptr, readdir, (DIR * directory), ::dirfd(directory), (directory))
FAULTY(struct dirent64 *, nullptr, readdir64, (DIR * directory), ::dirfd(directory), (directory))

FAULTY(int, -1, mkdir, (const char *directory, mode_t mode), directory, (directory, mode))
FAULTY(int, -1, rmdir, (const char *directory), directory, (directory))
FAULTY(int, -1, unlink, (const char *file), file, (file))
FAULTY(int, -1, rename, (const char *from, const char *to), from, (from, to))
FAULTY(int, -1, renameat2, (int f, const char *from, int t, const char *to, unsigned flags), from,
       (f, from, t, to, flags))
FAULTY(int, -1, link, (const char *from, const char *to), to, (from, to))
FAULTY(int, -1, linkat, (int f, const char *from, int t, const char *to, int flags), to, (f, from, t, to, flags))
FAULTY(int, -1, symlink, (const char *from, const char *to), to, (from, to))
FAULTY(int, -1, chmod, (const char *file, mode_t mode), file, (file, mode))
FAULTY(int, -1, fchmod, (int file, mode_t mode), file, (file, mode))

FAULTY(int, -1, inotify_init, (), "", ())
FAULTY(int, -1, inotify_init1, (int flags), "", (flags))
FAULTY(int, -1, inotify_add_watch, (int queue, const char *file, uint32_t mask), file, (queue, file, mask))
FAULTY(int, -1, pipe2, (int ends[2], int flags), "", (ends, flags))
FAULTY(pid_t, -1, fork, (), "", ())

int execv(const char *program, char *const arguments[])
{
    NEXT(execv);
    return failsAnywhere("execve", program) ? -1 : original(program, arguments);
}

int execve(const char *program, char *const arguments[], char *const environment[])
{
    NEXT(execve);
    return failsAnywhere("execve", program) ? -1 : original(program, arguments, environment);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *how, void *(*start)(void *), void *argument)
{
    NEXT(pthread_create);
    return fails("pthread_create", "") ? errno : original(thread, how, start, argument);
}

int clone(int (*start)(void *), void *stack, int flags, void *argument, ...)
{
    NEXT(clone);
    va_list arguments;
    va_start(arguments, argument);
    auto *const parent = va_arg(arguments, pid_t *);
    auto *const tls = va_arg(arguments, void *);
    auto *const child = va_arg(arguments, pid_t *);
    va_end(arguments);
    return fails("clone", "") ? -1 : original(start, stack, flags, argument, parent, tls, child);
}

long syscall(long number, ...)
{
    NEXT(syscall);
    va_list arguments;
    va_start(arguments, number);
    long a[6];
    for (long &each : a)
        each = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_clone && fails("clone", ""))
        return -1;
    return original(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

} // extern "C"
