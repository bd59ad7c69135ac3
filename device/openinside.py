"""Opens files of a running device from the machine. No program has to be started inside for that, which tests that look
again and again would spend most of their time on."""

import ctypes
import os

# Of <linux/openat2.h> and <asm/unistd.h>, the latter alike on all processors.
RESOLVE_NO_MAGICLINKS, RESOLVE_IN_ROOT = 0x02, 0x10
SYS_OPENAT2 = 437

libc = ctypes.CDLL(None, use_errno=True)


class OpenHow(ctypes.Structure):
    _fields_ = [("flags", ctypes.c_uint64), ("mode", ctypes.c_uint64), ("resolve", ctypes.c_uint64)]


def open_inside(pid, path, flags, mode=0):
    """The descriptor of a file. Raises OSError as os.open() does.

    pid    the machine's id of a process of the device
    path   absolute; it and the links on the way mean what they mean inside
    """
    how = OpenHow(flags | os.O_CLOEXEC, mode, RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS)
    root = os.open(f"/proc/{pid}/root", os.O_PATH | os.O_CLOEXEC)
    try:
        name = os.fsencode(path)
        descriptor = libc.syscall(SYS_OPENAT2, root, name, ctypes.byref(how), ctypes.c_size_t(ctypes.sizeof(how)))
    finally:
        os.close(root)
    if descriptor < 0:
        number = ctypes.get_errno()
        raise OSError(number, os.strerror(number), path)
    return descriptor
