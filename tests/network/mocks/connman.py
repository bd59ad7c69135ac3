"""python-dbusmock template of connman with Ethernet services, as far as its clients see and steer it.

    python3 -m dbusmock --template tests/network/mocks/connman.py

There is one service, "ethernet_001122334455_cable", with DHCP and a lease. The calls below "net.connman.Mock" at "/"
change that; a service's calls are recorded by python-dbusmock (GetMethodCalls at the service's path).
"""

import dbus
from dbusmock import get_object

BUS_NAME = "net.connman"
MAIN_OBJ = "/"
MAIN_IFACE = "net.connman.Manager"
SYSTEM_BUS = True

SERVICES = "/net/connman/service"
SERVICE_IFACE = "net.connman.Service"
CLOCK_IFACE = "net.connman.Clock"
CONTROL_IFACE = "net.connman.Mock"

DEFAULT_SERVICE = "ethernet_001122334455_cable"
INVALID = "net.connman.Error.InvalidArguments"


def texts(**values):
    return dbus.Dictionary({name.capitalize(): value for name, value in values.items()}, signature="sv")


def leased():
    """The properties of a service that has got its address from a server."""
    return {
        "Type": "ethernet",
        "State": "ready",
        "IPv4": texts(method="dhcp", address="192.168.10.77", netmask="255.255.255.0", gateway="192.168.10.1"),
        "IPv4.Configuration": texts(method="dhcp"),
        "IPv6": texts(),
        "IPv6.Configuration": texts(method="auto"),
        "Nameservers": dbus.Array(["192.168.10.1", "192.168.10.2"], signature="s"),
        "Nameservers.Configuration": dbus.Array([], signature="s"),
    }


def load(mock, parameters):
    mock.AddObject(SERVICES, "net.connman.Services", {}, [])
    mock.AddMethod(CLOCK_IFACE, "SetProperty", "sv", "", "")
    for name in parameters.get("services", [DEFAULT_SERVICE]):
        add_service(mock, name)


def add_service(mock, name):
    path = f"{SERVICES}/{name}"
    mock.AddObject(
        path,
        SERVICE_IFACE,
        {},
        [
            ("GetProperties", "", "a{sv}", "ret = dbus.Dictionary(self.settings, signature='sv')"),
            ("SetProperty", "sv", "", "self.accept(self, args[0], args[1])"),
        ],
    )
    service = get_object(path)
    service.settings = leased()
    service.refusal = ""
    service.accept = accept


def accept(service, name, value):
    """Takes a property as connman does, which tells of what is in force and not of what was asked for."""
    if service.refusal:
        raise dbus.DBusException(service.refusal, name=INVALID)
    service.settings[name] = value
    live = name.removesuffix(".Configuration")
    if live == "Nameservers" or value.get("Method") == "manual":
        service.settings[live] = value


@dbus.service.method(CONTROL_IFACE, in_signature="s", out_signature="")
def AddService(self, name):
    """One more service, at the end of the list."""
    add_service(self, name)


@dbus.service.method(CONTROL_IFACE, in_signature="s", out_signature="")
def RemoveService(self, name):
    self.RemoveObject(f"{SERVICES}/{name}")


@dbus.service.method(CONTROL_IFACE, in_signature="ssv", out_signature="")
def Set(self, service, name, value):
    """What a service tells from now on; nothing is signalled."""
    get_object(f"{SERVICES}/{service}").settings[name] = value


@dbus.service.method(CONTROL_IFACE, in_signature="ss", out_signature="")
def Unset(self, service, name):
    """A property that a service tells nothing of from now on."""
    get_object(f"{SERVICES}/{service}").settings.pop(name, None)


@dbus.service.method(CONTROL_IFACE, in_signature="ss", out_signature="")
def Refuse(self, service, words):
    """Has a service refuse every SetProperty with these words; empty ends that."""
    get_object(f"{SERVICES}/{service}").refusal = str(words)


@dbus.service.method(CONTROL_IFACE, in_signature="ssv", out_signature="")
def Tell(self, service, name, value):
    """Signals a property of a service as changed, and leaves it as it is."""
    get_object(f"{SERVICES}/{service}").EmitSignal(SERVICE_IFACE, "PropertyChanged", "sv", [name, value])
