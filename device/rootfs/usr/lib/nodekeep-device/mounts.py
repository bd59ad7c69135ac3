"""Mounts, by the system calls themselves: as processes they would take more time than all else of a start."""

import ctypes
import os

# Of <sys/mount.h>
RDONLY = 0x1
NOSUID = 0x2
NODEV = 0x4
NOEXEC = 0x8
REMOUNT = 0x20
BIND = 0x1000
RECURSIVE = 0x4000
DETACH = 0x2

LIBC = ctypes.CDLL(None, use_errno=True)


def call(function, *arguments):
    """Calls a function of the C library that takes texts and numbers. Raises OSError."""
    taken = [os.fsencode(argument) if isinstance(argument, str) else argument for argument in arguments]
    if getattr(LIBC, function)(*taken) != 0:
        number = ctypes.get_errno()
        raise OSError(number, f"{function} {' '.join(map(str, arguments))}: {os.strerror(number)}")


def mount(kind, name, target, flags=0, options=""):
    """Mounts a file system that has no device; `name` is what the list of mounts says in the place of one."""
    call("mount", name, target, kind, flags, options)


def bind(source, target, flags=0):
    """Lets a file or a directory be seen at a second place, and there with these flags."""
    call("mount", source, target, "", BIND, "")
    if flags:
        remount(target, flags)


def bind_all(source, target):
    """Lets a directory be seen at a second place with all that is mounted below it."""
    call("mount", source, target, "", BIND | RECURSIVE, "")


def remount(target, flags):
    """Changes the flags of a bound place."""
    call("mount", "", target, "", REMOUNT | BIND | flags, "")


def unmount(target):
    """Takes a mount away, whoever still uses it."""
    call("umount2", target, DETACH)


def pivot_root(root, old):
    """Makes `root` the root of the file system; what that was is seen at `old`, a directory in the new one."""
    call("pivot_root", root, old)
