"""saveChanges, beside what it waits for: connman's answer, and the interfaces file written and synced."""

import os

import dbus
from rounds import Row, in_turns, scaled, seconds_of

NETWORK = True
FILE = "/etc/network/interfaces"

OWN = "local.NetworkInterface"
SERVICE = "net.connman.Service"

SETTINGS = {
    "ipaddress": "192.168.10.7",
    "netmask": "255.255.255.0",
    "gateway": "192.168.10.1",
    "nameserver": "192.168.10.1",
    "dhcp": False,
}


def write_and_sync(content):
    with open(FILE, "wb") as file:
        file.write(content)
    os.sync()


def measure(_quick):
    bus = dbus.SystemBus()
    network = bus.get_object("com.ozt.nodekeep", "/system/network", introspect=False)
    for name, value in SETTINGS.items():
        network.Set(OWN, name, value, dbus_interface=dbus.PROPERTIES_IFACE, signature="ssv")
    ((path, _),) = bus.get_object("net.connman", "/").GetServices(dbus_interface="net.connman.Manager")
    service = bus.get_object("net.connman", path, introspect=False)

    def save():
        assert network.saveChanges(dbus_interface=OWN)

    def by_hand():
        servers = dbus.Array([SETTINGS["nameserver"]], signature="s")
        service.SetProperty("Nameservers.Configuration", servers, dbus_interface=SERVICE, signature="sv")
        write_and_sync(content)

    save()
    with open(FILE, "rb") as file:
        content = file.read()
    takes = {"nodekeep": lambda: seconds_of(save), "connman, write, sync": lambda: seconds_of(by_hand)}
    return [Row("saveChanges", "", "ms", scaled(in_turns(40, takes), 1000))]
