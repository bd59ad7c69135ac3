"""The main loop of GLib, in which the bus library works. GLib's own module for Python takes longer to load than all the
rest that a stand-in needs, and of that module it needs no more than this."""

import ctypes

CHILD_ENDED = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.c_int, ctypes.c_void_p)

GLIB = ctypes.CDLL("libglib-2.0.so.0")
GLIB.g_main_loop_new.argtypes = [ctypes.c_void_p, ctypes.c_int]
GLIB.g_main_loop_new.restype = ctypes.c_void_p
GLIB.g_main_loop_run.argtypes = [ctypes.c_void_p]
GLIB.g_child_watch_add.argtypes = [ctypes.c_int, CHILD_ENDED, ctypes.c_void_p]

waiting = {}  # process id to what is to be called at its end


def run():
    """Never returns."""
    GLIB.g_main_loop_run(GLIB.g_main_loop_new(None, False))


def when_ended(pid, callback):
    """Calls `callback` once the child process has ended."""
    waiting[pid] = callback
    GLIB.g_child_watch_add(pid, child_ended, None)


@CHILD_ENDED
def child_ended(pid, status, data):
    waiting.pop(pid)()
