"""The main loop of GLib, by which python-dbus hands on the signals that it hears."""

from gi.repository import GLib


def turned():
    """Lets the loop hand on what has come, and is true: a thread that runs the loop may have been faster."""
    GLib.MainContext.default().iteration(False)
    return True
