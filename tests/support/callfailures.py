"""Calls of the C library that fail in the daemon: tests/reliability/CallFailures.cpp, from the test's side."""

import contextlib
import errno
import mmap
import os
import re
import struct
import subprocess
import typing

from insidetools import sanitizer_environment

LIBRARY = "/usr/local/lib/faults.so"
CONTROL = "/run/faults"
SOURCE = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))), "reliability/CallFailures.cpp")

HEAD = struct.Struct("7I228x")  # armed, count, error, lasting, occurrence, met, failed
CALL = struct.Struct("24s232s")
MAX_CALLS = 16384

# What is another one each time: a random number, a process, a firmware's number, a temporary file.
CHANGING = re.compile(
    r"[0-9a-f]{8}-[0-9a-f-]{27}|(?<=^/proc/)[0-9]+|(?<=/fwupdate)[0-9]+|(?<=\.)[A-Za-z]{6}$|(?<=/#)[0-9]+"
    r"|(?<=/zoneinfo/).*"
)


def numbers(*names):
    return [getattr(errno, name) for name in names]


# What a call may fail with. A call that is not here is of no interest.
OPENING = numbers("EIO", "EACCES", "EMFILE", "EINTR", "ENOMEM")
CHANGING_NAMES = numbers("EIO", "ENOSPC", "EROFS", "EACCES", "ENOMEM")
LOOKING = numbers("EIO", "EACCES", "ENOMEM")
ERRORS = {
    "open": OPENING,
    "open to write": [*OPENING, *numbers("ENOSPC", "EROFS")],
    "read": numbers("EIO", "EINTR", "ENOMEM"),
    "write": numbers("EIO", "ENOSPC", "EINTR", "ENOMEM"),
    "sendfile": numbers("EIO", "ENOSPC", "EINTR", "ENOMEM"),
    "fsync": numbers("EIO", "ENOSPC", "EROFS", "EINTR"),
    "fdatasync": numbers("EIO", "ENOSPC", "EROFS", "EINTR"),
    "ftruncate": numbers("EIO", "ENOSPC", "EINTR"),
    "posix_fallocate": numbers("EIO", "ENOSPC", "EINTR"),
    "shm_open": numbers("EACCES", "EMFILE", "EINTR", "ENOMEM", "ENOSPC"),
    "fstat": LOOKING,
    "statx": LOOKING,
    "lstat": LOOKING,
    "access": [*LOOKING, *numbers("EROFS")],
    "readlink": LOOKING,
    "opendir": numbers("EIO", "EACCES", "EMFILE", "EINTR", "ENOMEM"),
    "readdir64": numbers("EIO"),
    "mkdir": CHANGING_NAMES,
    "rmdir": CHANGING_NAMES,
    "unlink": CHANGING_NAMES,
    "rename": CHANGING_NAMES,
    "renameat2": CHANGING_NAMES,
    "link": CHANGING_NAMES,
    "linkat": CHANGING_NAMES,
    "symlink": CHANGING_NAMES,
    "chmod": CHANGING_NAMES,
    "fchmod": CHANGING_NAMES,
    "inotify_init1": numbers("EMFILE", "ENOMEM"),
    "inotify_add_watch": numbers("EACCES", "ENOMEM", "ENOSPC"),
    "pipe2": numbers("EMFILE", "ENOMEM"),
    "clone": numbers("ENOMEM", "EAGAIN"),
    "execve": numbers("EIO", "EACCES", "EMFILE", "ENOMEM", "ENOEXEC"),
}


def errors_of(place):
    """What can happen at a place. Of the ends of a pipe no more than an interruption is real."""
    errors = ERRORS.get(place.call, [])
    return [error for error in errors if error == errno.EINTR or place.target != "a pipe"]


class Place(typing.NamedTuple):
    """Where the daemon asks the kernel for something: what it calls, for which path, for the how manieth time."""

    call: str
    target: str  # a pattern
    occurrence: int = 1

    def __str__(self):
        return f"{self.call} {self.target}".rstrip()


def place_of(name, target, places):
    known = Place(name, CHANGING.sub("*", target).replace("[", "?"))
    while known in places:
        known = known._replace(occurrence=known.occurrence + 1)
    return known


def built(directory):
    """Builds the library there and returns its content."""
    library = directory / "faults.so"
    subprocess.run(["c++", "-std=c++20", "-O1", "-shared", "-fPIC", "-o", library, SOURCE], check=True)
    return library.read_bytes()


class Faults:
    """The daemon's faults on a device that runs; the daemon has to be started in `environment` afterwards."""

    environment = {
        "LD_PRELOAD": LIBRARY,
        # The sanitizers want to come first, and need not.
        **sanitizer_environment(ASAN_OPTIONS="verify_asan_link_order=0"),
    }

    def __init__(self, device, library):
        device.write(LIBRARY, library)
        size = HEAD.size + CALL.size * (1 + MAX_CALLS)
        device.exec(["truncate", "-s", str(size), CONTROL], check=True)
        with open(f"/proc/{device.init_pid}/root{CONTROL}", "r+b") as file:
            self.area = mmap.mmap(file.fileno(), size)
        self.have_come = False  # whether the call that was to fail was made

    def close(self):
        self.area.close()

    @contextlib.contextmanager
    def recorded(self):
        """Yields the list of the places that the daemon comes by meanwhile, which is filled at the end."""
        places = {}
        HEAD.pack_into(self.area, 0, 1, 0, 0, 0, 0, 0, 0)
        yield places
        count = HEAD.unpack_from(self.area)[1]
        self.disarm()
        assert count <= MAX_CALLS
        for number in range(count):
            fields = CALL.unpack_from(self.area, HEAD.size + CALL.size * (1 + number))
            name, target = (field.partition(b"\0")[0].decode() for field in fields)
            places[place_of(name, target, places)] = None

    def arm(self, place, error):
        """Lets a call fail, and all later ones of its kind; EINTR happens only once."""
        CALL.pack_into(self.area, HEAD.size, place.call.encode(), place.target.encode())
        lasting = error != errno.EINTR
        HEAD.pack_into(self.area, 0, 1, 0, error, lasting, place.occurrence, 0, 0)

    def disarm(self):
        """From now on nothing fails."""
        self.have_come = HEAD.unpack_from(self.area)[6] > 0
        HEAD.pack_into(self.area, 0, *[0] * 7)
