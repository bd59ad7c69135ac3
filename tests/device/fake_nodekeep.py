#!/usr/bin/python3
"""Stands for the daemon in the tests of the device: owns its name, and does what a test tells it."""

import os
import signal

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib


class System(dbus.service.Object):
    @dbus.service.method("local.System", in_signature="s", out_signature="s")
    def environment(self, name):
        return os.environ.get(name, "")

    @dbus.service.method("local.System", in_signature="v", out_signature="s")
    def typeOf(self, value):
        return type(value).__name__

    @dbus.service.method("local.System")
    def crash(self):
        os.kill(os.getpid(), signal.SIGABRT)


if "FAKE_EXIT_AT_ONCE" in os.environ:
    print("fake: ending as told", flush=True)
    raise SystemExit(4)
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SystemBus()
name = dbus.service.BusName("com.ozt.nodekeep", bus, do_not_queue=True)
system = System(bus, "/system")
print("fake: up", flush=True)
GLib.MainLoop().run()
