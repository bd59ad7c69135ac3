"""The main loop of GLib, by which python-dbus hands on what comes unasked: signals, and calls of services of ours.

It runs in a thread of its own, and all that has to do with it is done there: the bus library crashes when two threads
have the loop, or change a connection beside it."""

import concurrent.futures
import contextlib
import functools
import threading

import dbus.bus
import dbus.mainloop.glib
from busclient import BUS
from gi.repository import GLib


@functools.cache
def main_loop():
    """The loop, for connections."""
    dbus.mainloop.glib.threads_init()
    threading.Thread(target=GLib.MainLoop().run, daemon=True).start()
    return dbus.mainloop.glib.DBusGMainLoop()


def in_main_loop(do):
    """The result of what the loop's thread does for us."""
    done = concurrent.futures.Future()

    def run():
        try:
            done.set_result(do())
        except Exception as error:
            done.set_exception(error)
        return GLib.SOURCE_REMOVE

    GLib.idle_add(run)
    return done.result()


def connect(device):
    """A connection to a device's bus that the loop serves."""
    loop = main_loop()
    return in_main_loop(lambda: dbus.bus.BusConnection(device.bus_address, mainloop=loop))


@contextlib.contextmanager
def heard(device, name, interface):
    """A list of the arguments of all signals of that name, for None of any, which grows as they come."""
    signals = []
    connection = connect(device)

    def subscribe():
        connection.add_signal_receiver(lambda *arguments: signals.append(arguments), name, interface)
        connection.name_has_owner(BUS)  # when the bus answers that, it has the subscription

    in_main_loop(subscribe)
    try:
        yield signals
    finally:
        in_main_loop(connection.close)
