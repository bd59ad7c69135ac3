"""A client of the daemon, as its system tests need it."""

import typing
import xml.etree.ElementTree

import dbus
import dbus.bus
import dbus.lowlevel

SERVICE = "com.ozt.nodekeep"
BUS = "org.freedesktop.DBus"
PROPERTIES = "org.freedesktop.DBus.Properties"
INTROSPECTABLE = "org.freedesktop.DBus.Introspectable"


class Method(typing.NamedTuple):
    path: str
    interface: str
    name: str
    signature: str  # of what it takes


class BusClient:
    """One connection of its own to a device's bus. What calls return compares equal to plain Python values."""

    def __init__(self, device):
        self.device = device
        self.connection = dbus.bus.BusConnection(device.bus_address)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def close(self):
        self.connection.close()

    # Calls

    def call(self, path, method, *arguments, interface=None, signature=None, limit=30):
        """The result of a call. Without an interface the message names none, without a signature the arguments tell
        it. Raises dbus.DBusException for an error, and when there is no answer in time."""
        if signature is None:
            signature = signature_of(arguments)
        return self.connection.call_blocking(SERVICE, path, interface, method, signature, arguments, timeout=limit)

    def error_of(self, path, method, *arguments, **options):
        """The last part of the name of the error that a call ends with, None when it succeeds."""
        try:
            self.call(path, method, *arguments, **options)
        except dbus.DBusException as error:
            return error.get_dbus_name().rpartition(".")[2]
        return None

    def send(self, path, method, *arguments, interface=None, want_answer=False):
        """Sends a call and waits for no answer; unless `want_answer`, the message says that none is wanted."""
        message = dbus.lowlevel.MethodCallMessage(SERVICE, path, interface, method)
        message.append(*arguments, signature=signature_of(arguments))
        message.set_no_reply(not want_answer)
        self.connection.send_message(message)
        self.connection.flush()

    def ping(self):
        """Returns when the daemon has answered, and so has done all that this client sent before."""
        # Not by Ping, which the bus library answers in a thread of its own.
        self.get("/version", "local.Version", "version")

    # Properties

    def get(self, path, interface, name):
        return self.call(path, "Get", interface, name, interface=PROPERTIES)

    def get_all(self, path, interface):
        return self.call(path, "GetAll", interface, interface=PROPERTIES)

    def set(self, path, interface, name, value):
        self.call(path, "Set", interface, name, value, interface=PROPERTIES, signature="ssv")

    def error_of_set(self, path, interface, name, value):
        return self.error_of(path, "Set", interface, name, value, interface=PROPERTIES, signature="ssv")

    # What there is

    def introspect(self, path):
        return xml.etree.ElementTree.fromstring(self.call(path, "Introspect", interface=INTROSPECTABLE))

    def children(self, path):
        return set(self.children_in_order(path))

    def children_in_order(self, path):
        return [node.get("name") for node in self.introspect(path).iterfind("node")]

    def paths(self, root="/"):
        """All objects from a path downwards, that one included."""
        found = [root]
        for name in sorted(self.children(root)):
            found += self.paths(f"{root.rstrip('/')}/{name}")
        return found

    def interfaces(self, path):
        """The interfaces of an object but for those that every object has: name to XML element."""
        every = self.introspect(path).iterfind("interface")
        return {each.get("name"): each for each in every if not each.get("name").startswith(BUS)}

    def members(self, path, kind):
        """The names of an object's "method"s, "property"s or "signal"s in order."""
        return [member.get("name") for each in self.interfaces(path).values() for member in each.iterfind(kind)]

    def methods(self, root="/"):
        """Every Method of the objects from a path downwards."""
        return [
            Method(path, name, method.get("name"), input_signature(method))
            for path in self.paths(root)
            for name, interface in self.interfaces(path).items()
            for method in interface.iterfind("method")
        ]

    # The daemon

    def owner_pid(self, name=SERVICE):
        """The id inside the device of the process that owns a name, by default the daemon's."""
        ask = (BUS, "/org/freedesktop/DBus", BUS, "GetConnectionUnixProcessID", "s", (name,))
        return self.connection.call_blocking(*ask)

    def wait_owned(self):
        """Waits until the daemon owns its name, which comes long before it answers."""
        self.device.wait_for(lambda: self.connection.name_has_owner(SERVICE), what="the daemon to take its name")


def signature_of(arguments):
    letters = {bool: "b", int: "i", str: "s"}
    return "".join(letters[type(argument)] for argument in arguments)


def input_signature(method):
    return "".join(arg.get("type") for arg in method.iterfind("arg") if arg.get("direction") == "in")
