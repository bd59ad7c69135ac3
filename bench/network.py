#!/usr/bin/python3
"""saveChanges beside what it waits for: connman's answer, and the interfaces file written and synced.

Runs inside a simulated device with its network. Prints the medians and their ratio.
"""
import os
import statistics
import time

import dbus

ROUNDS = 40
FILE = "/etc/network/interfaces"

NODEKEEP = ("com.ozt.nodekeep", "/system/network")
OWN = "local.NetworkInterface"
PROPERTIES = "org.freedesktop.DBus.Properties"
SERVICE = "net.connman.Service"

SETTINGS = {
    "ipaddress": "192.168.10.7",
    "netmask": "255.255.255.0",
    "gateway": "192.168.10.1",
    "nameserver": "192.168.10.1",
    "dhcp": False,
}


def milliseconds(work):
    begin = time.perf_counter()
    work()
    return (time.perf_counter() - begin) * 1000


def write_and_sync(content):
    with open(FILE, "wb") as file:
        file.write(content)
    os.sync()


def main():
    bus = dbus.SystemBus()
    network = bus.get_object(*NODEKEEP, introspect=False)
    for name, value in SETTINGS.items():
        network.Set(OWN, name, value, dbus_interface=PROPERTIES, signature="ssv")
    ((path, _),) = bus.get_object("net.connman", "/").GetServices(dbus_interface="net.connman.Manager")
    service = bus.get_object("net.connman", path, introspect=False)

    def save():
        assert network.saveChanges(dbus_interface=OWN)

    def floor():
        servers = dbus.Array([SETTINGS["nameserver"]], signature="s")
        service.SetProperty("Nameservers.Configuration", servers, dbus_interface=SERVICE, signature="sv")
        write_and_sync(content)

    save()
    with open(FILE, "rb") as file:
        content = file.read()
    times = {"saveChanges": [], "connman's answer, write, sync": []}
    for _ in range(ROUNDS):  # in turns, so that a machine that slows down slows both
        times["saveChanges"].append(milliseconds(save))
        times["connman's answer, write, sync"].append(milliseconds(floor))
    medians = [statistics.median(each) for each in times.values()]
    for title, median in zip(times, medians):
        print(f"{title:32}{median:10.2f} ms")
    print(f"{'ratio':32}{medians[0] / medians[1]:10.2f}")


if __name__ == "__main__":
    main()
