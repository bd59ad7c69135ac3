"""A device's bus as another user than root sees it."""

import contextlib
import os
import types


@contextlib.contextmanager
def seat_of(device, user=0, groups=()):
    """What stands for the device where a client is made: the bus takes the client for a process of this user and these
    groups, all given by number. We are root again when the context ends, and the client stays what it is."""
    own = os.getgroups()
    # A way in for those who may not look into the device's directories.
    directory = os.open(f"/proc/{device.init_pid}/root/run/dbus", os.O_PATH)
    os.setgroups(groups)
    os.setegid(groups[0] if groups else user)
    os.seteuid(user)
    try:
        yield types.SimpleNamespace(bus_address=f"unix:path=/proc/self/fd/{directory}/system_bus_socket")
    finally:
        os.seteuid(0)
        os.setegid(0)
        os.setgroups(own)
        os.close(directory)
