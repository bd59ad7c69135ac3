"""Services on a device's bus that a test steers: python-dbusmock templates, and one that answers what it is told."""

import contextlib
import os
import subprocess

import dbus
import dbus.bus
import dbus.lowlevel
from gi.repository import GLib
from mainloop import connect, in_main_loop

MOCKS = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))), "network/mocks")
MOCK_INTERFACE = "org.freedesktop.DBus.Mock"


class Mock:
    """A template of tests/network/mocks at work on a device's bus, from entering to leaving the context."""

    def __init__(self, device, template, name):
        self.device = device
        self.template = os.path.join(MOCKS, template)
        self.name = name

    def __enter__(self):
        self.bus = dbus.bus.BusConnection(self.device.bus_address)
        environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": self.device.bus_address}
        command = ["/usr/bin/python3", "-m", "dbusmock", "--system", "--template", self.template]
        self.process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
        # The name comes before the template has been loaded.
        self.device.wait_for(self.ready, limit=60, what=f"{self.name} to answer")
        return self

    def __exit__(self, *exception):
        self.process.terminate()
        self.process.wait()
        if self.device.running:
            self.device.wait_for(lambda: not self.bus.name_has_owner(self.name), what=f"{self.name} to be gone")
        self.bus.close()

    def ready(self):
        raise NotImplementedError

    def call(self, path, interface, method, signature="", *arguments):
        return self.bus.call_blocking(self.name, path, interface, method, signature, arguments)

    def answers(self, *call):
        with contextlib.suppress(dbus.DBusException):
            self.call(*call)
            return True
        return False

    def calls(self, path, method):
        """The arguments of the calls of a method that the mock has got."""
        recorded = self.call(path, MOCK_INTERFACE, "GetMethodCalls", "s", method)
        return [list(arguments) for _, arguments in recorded]

    def forget_calls(self, path):
        self.call(path, MOCK_INTERFACE, "ClearCalls")


class ConnmanMock(Mock):
    """connman with one Ethernet service; see the template."""

    SERVICE = "ethernet_001122334455_cable"
    PATH = f"/net/connman/service/{SERVICE}"
    CONTROL = "net.connman.Mock"

    def __init__(self, device):
        super().__init__(device, "connman.py", "net.connman")

    def ready(self):
        return self.answers(self.PATH, "net.connman.Service", "GetProperties")

    def control(self, method, signature, *arguments):
        self.call("/", self.CONTROL, method, signature, *arguments)

    def add_service(self, name):
        self.control("AddService", "s", name)

    def remove_service(self, name=SERVICE):
        self.control("RemoveService", "s", name)

    def set(self, name, value, service=SERVICE):
        self.control("Set", "ssv", service, name, value)

    def unset(self, name, service=SERVICE):
        self.control("Unset", "ss", service, name)

    def refuse(self, words, service=SERVICE):
        self.control("Refuse", "ss", service, words)

    def tell(self, name, value, service=SERVICE):
        self.control("Tell", "ssv", service, name, value)

    def properties_set(self, path=PATH):
        """What SetProperty was called with, as (name, value) of plain Python types."""
        return [(str(name), plain(value)) for name, value in self.calls(path, "SetProperty")]


class AvahiMock(Mock):
    def __init__(self, device):
        super().__init__(device, "avahi.py", "org.freedesktop.Avahi")

    def ready(self):
        return self.answers("/", "org.freedesktop.Avahi.Server", "GetHostName")

    def host_names(self):
        """The names that SetHostName was called with."""
        return [str(name) for (name,) in self.calls("/", "SetHostName")]


def plain(value):
    if isinstance(value, dbus.Array):
        return [plain(each) for each in value]
    if isinstance(value, dbus.Dictionary):
        return {str(key): plain(each) for key, each in value.items()}
    return str(value) if isinstance(value, dbus.String) else value


SILENCE = object()
DEATH = object()


class ScriptedService:
    """Owns a name and answers every call of a method as `answers` tells: (signature, argument...), the name of an
    error, SILENCE, or DEATH for one who leaves the bus instead. A method that is not there gets an error."""

    def __init__(self, device, name, delay_ms=0, **answers):
        self.name = name
        self.delay_ms = delay_ms
        self.answers = answers
        self.seen = []  # the methods that were called
        self.connection = connect(device)

    def __enter__(self):
        in_main_loop(self.serve)
        return self

    def __exit__(self, *exception):
        in_main_loop(self.connection.close)

    def serve(self):
        self.connection.add_message_filter(self.handle)
        self.connection.request_name(self.name)

    def handle(self, connection, message):
        if not isinstance(message, dbus.lowlevel.MethodCallMessage):
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        self.seen.append(message.get_member())
        answer = self.answers.get(message.get_member(), "org.freedesktop.DBus.Error.UnknownMethod")
        if answer is DEATH:
            connection.close()
        elif isinstance(answer, str):
            self.reply(dbus.lowlevel.ErrorMessage(message, answer, "as told"))
        elif answer is not SILENCE:
            signature, *arguments = answer
            reply = dbus.lowlevel.MethodReturnMessage(message)
            reply.append(*arguments, signature=signature)
            self.reply(reply)
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    def reply(self, message):
        if self.delay_ms:
            GLib.timeout_add(self.delay_ms, self.send_late, message)
        else:
            self.connection.send_message(message)

    def send_late(self, message):
        self.connection.send_message(message)
        return GLib.SOURCE_REMOVE

    def emit(self, path, interface, name, signature, *arguments):
        signal = dbus.lowlevel.SignalMessage(path, interface, name)
        signal.append(*arguments, signature=signature)
        in_main_loop(lambda: self.connection.send_message(signal))
