"""What the interface files tell is what clients find on the bus: every member, in order, with types, names, access."""

import fnmatch
import os

import dbus
import dbus.lowlevel
import interfacefile
import pytest
from busclient import PROPERTIES, BusClient
from insidetools import shell
from mainloop import heard
from objecttree import INTERFACES
from simdevice import PROJECT

FILES = os.path.join(PROJECT, "docs/dbus")
FIRMWARE = "/loader/fwupdate0"
MAKE_FIRMWARE = """
mkdir -p /srv/fwupdate/fwupdate0 && cd /srv/fwupdate/fwupdate0
touch linuximage linuximage.md5 root.ubi root.ubi.md5 control
"""
PORT = ("/system/network", "local.NetworkInterface")
LAST = "what the test sends itself"


@pytest.fixture(scope="module")
def module_device(module_device):
    """A device that has a firmware too."""
    shell(module_device, MAKE_FIRMWARE)
    module_device.stop_daemon()
    module_device.start_daemon()
    with BusClient(module_device) as client:
        module_device.wait_for(lambda: FIRMWARE in client.paths("/loader"), what="the firmware")
    return module_device


def outline(element, without=None):
    """An XML element as it counts: its tag, its attributes, and the same of its children in order."""
    children = [outline(child) for child in element if isinstance(child.tag, str) and child.get("name") != without]
    return (element.tag, element.attrib, children)


@pytest.mark.parametrize("path", [*INTERFACES, FIRMWARE])
def test_an_object_is_as_its_interface_file_tells(client, path):
    ((name, interface),) = client.interfaces(path).items()

    told = interfacefile.tree(f"{FILES}/{name}.xml").find("interface")

    # Qt does not say what becomes of a change, and so that all are announced.
    assert outline(interface) == outline(told, without=interfacefile.EMITS_CHANGED)


def test_the_interface_files_tell_of_all_objects_and_of_no_others(client):
    files = [interfacefile.read(f"{FILES}/{name}") for name in os.listdir(FILES)]
    told = {f"{pattern} {file.name}" for file in files for pattern in file.objects}

    found = [f"{path} {name}" for path in client.paths() for name in client.interfaces(path)]

    met = {each: fnmatch.filter(found, each) for each in told}
    assert [each for each in told if not met[each]] == []
    assert set().union(*met.values()) == set(found)


def another(value):
    """A value that is not this one, of the same type."""
    if isinstance(value, str):
        return f"{value}x"
    return type(value)(not value if isinstance(value, dbus.Boolean) else value + 1)


def send_last(client, path, interface, name, signature, *arguments):
    """Sends everybody a signal of ours, which comes behind all that the daemon had sent when it answered this client.
    `arguments` are those behind the first one, which is LAST."""
    signal = dbus.lowlevel.SignalMessage(path, interface, name)
    signal.append(LAST, *arguments, signature=signature)
    client.connection.send_message(signal)
    client.connection.flush()


def test_no_change_of_a_property_is_announced(device, client):
    writable = [
        (path, name, member.get("name"))
        for path, name in INTERFACES.items()
        for member in client.interfaces(path)[name]
        if member.get("access") == "readwrite"
    ]

    with heard(device, "PropertiesChanged", PROPERTIES) as signals:
        for each in writable:
            client.set(*each, another(client.get(*each)))

        assert client.get("/loader", "local.FwUpdateSettings", "onlyUploadFirmware")
        send_last(client, "/", PROPERTIES, "PropertiesChanged", "sa{sv}as", {}, [])
        device.wait_for(lambda: LAST in [name for name, *_ in signals], what="the last signal")
    assert [name for name, *_ in signals] == [LAST]


def test_no_signal_leaves_the_port_whatever_is_written_there(device, client):
    with heard(device, None, PORT[1]) as signals:
        client.set(*PORT, "ipaddress", "192.168.10.7")
        client.set(*PORT, "dhcp", False)

        send_last(client, *PORT, "ipAddressChanged", "s")
        device.wait_for(lambda: (LAST,) in signals, what="the last signal")
    assert signals == [(LAST,)]
