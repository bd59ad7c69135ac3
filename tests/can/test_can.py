"""The CAN port's settings: the file, the tools that restart the port, and the termination's node."""

import dbus
import pytest
from busclient import PROPERTIES, BusClient
from insidetools import shell

CAN = "/system/can"
INTERFACE = "local.CanInterface"
STORE = "/etc/network/canconfig"
NODE = "/dev/canterm"
RESTART = [["ifdown", "can0"], ["ifconfig", "can0", "down"], ["ifup", "can0"]]


def stored(rate=1000000, termination=0, restart_ms=1000):
    return f"#!/bin/sh\nBITRATE={rate}\nTERMINATION={termination}\nRESTART={restart_ms}\n"


def read(client, name):
    return client.get(CAN, INTERFACE, name)


def write(client, name, value):
    client.set(CAN, INTERFACE, name, value)


def restarts(device):
    return device.tool_log("ifdown", "ifconfig", "ifup")


def started(device, prepare):
    """A client of the daemon after it was started on what a script has prepared."""
    device.start(daemon=False)
    shell(device, prepare)
    device.start_daemon()
    return BusClient(device)


# Start


def test_the_first_start_writes_the_defaults_and_leaves_the_node(own_device, own_client):
    assert own_device.read(STORE) == stored()
    assert own_device.read_bytes(NODE) == b""
    assert restarts(own_device) == []
    assert read(own_client, "baudrate") == 1000000
    assert read(own_client, "restart_ms") == 1000


def test_a_later_start_brings_the_stored_termination_to_the_hardware(own_device, own_client):
    write(own_client, "termination", True)

    own_device.power_cycle()

    assert own_device.read_bytes(NODE) == b"\1"
    assert own_device.read(STORE) == stored(termination=1)
    assert restarts(own_device) == []


def test_a_file_without_termination_switches_it_off(new_device):
    with started(new_device, f"mkdir -p /etc/network; echo BITRATE=500000 >{STORE}") as client:
        assert read(client, "baudrate") == 500000
        assert read(client, "restart_ms") == 0
    assert new_device.read_bytes(NODE) == b"\0"
    assert new_device.read(STORE) == "BITRATE=500000\nTERMINATION=0\n"


# Bit rate and restart time


def test_a_rate_is_stored_and_taken_by_the_port(own_device, own_client):
    write(own_client, "baudrate", 125000)

    assert own_device.read(STORE) == stored(rate=125000)
    assert restarts(own_device) == RESTART
    assert read(own_client, "baudrate") == 125000
    assert own_client.call(CAN, "getCanBaudrate") == 125000
    assert own_client.call(CAN, "getActualBaudrate") == 125000


def test_a_restart_time_is_stored_and_restarts_the_port(own_device, own_client):
    write(own_client, "restart_ms", dbus.UInt32(50))

    assert own_device.read(STORE) == stored(restart_ms=50)
    assert restarts(own_device) == RESTART
    assert read(own_client, "restart_ms") == 50


def test_the_same_value_restarts_the_port(own_device, own_client):
    write(own_client, "baudrate", 1000000)

    assert restarts(own_device) == RESTART


@pytest.mark.parametrize("rate", [0, -1, 2**31 - 1, -(2**31)])
def test_a_rate_that_the_port_refuses_stays_stored(own_device, own_client, rate):
    write(own_client, "baudrate", 250000)

    write(own_client, "baudrate", rate)

    assert own_device.read(STORE) == stored(rate=rate)
    assert read(own_client, "baudrate") == rate
    assert own_client.call(CAN, "getActualBaudrate") == 250000


def test_the_settings_survive_a_power_cycle(own_device, own_client):
    write(own_client, "baudrate", 125000)
    write(own_client, "restart_ms", dbus.UInt32(2**32 - 1))

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert read(client, "baudrate") == 125000
        assert read(client, "restart_ms") == 2**32 - 1


def test_a_port_that_was_never_up_has_no_rate(own_client):
    assert own_client.call(CAN, "getActualBaudrate") == 0


def test_without_the_tools_the_value_is_stored_all_the_same(own_device, own_client):
    shell(own_device, "rm /usr/sbin/ifdown /usr/sbin/ifconfig /usr/sbin/ifup /usr/sbin/canconfig")

    write(own_client, "baudrate", 125000)

    assert own_device.read(STORE) == stored(rate=125000)
    assert own_client.call(CAN, "getActualBaudrate") == 0


def test_each_tool_is_waited_for(own_device, own_client):
    own_device.write("/usr/sbin/ifup", "#!/bin/sh\nread line </run/go\n", mode="755")
    shell(own_device, "mkfifo /run/go")

    error = own_client.error_of(CAN, "Set", INTERFACE, "baudrate", 5, interface=PROPERTIES, signature="ssv", limit=1)
    assert error == "NoReply"
    shell(own_device, "echo >/run/go")

    assert read(own_client, "baudrate") == 5


@pytest.mark.slow
def test_a_port_that_does_not_tell_its_rate_is_given_up_after_a_while(own_device, own_client):
    own_device.write("/usr/sbin/canconfig", "#!/bin/sh\nexec sleep 1000\n", mode="755")

    assert own_client.call(CAN, "getActualBaudrate", limit=60) == 0


# Termination


def test_switching_the_termination_leaves_the_port_running(own_device, own_client):
    write(own_client, "termination", True)
    assert own_device.read_bytes(NODE) == b"\1"
    assert own_device.read(STORE) == stored(termination=1)

    write(own_client, "termination", False)
    assert own_device.read_bytes(NODE) == b"\0"
    assert own_device.read(STORE) == stored()
    assert restarts(own_device) == []


@pytest.mark.parametrize("told, on", [("1\n", True), ("0\n", False), ("\1", False), ("", False)])
def test_the_termination_is_what_the_hardware_tells(own_device, own_client, told, on):
    own_device.write(NODE, told)

    assert read(own_client, "termination") == on
    assert own_client.call(CAN, "getCanTerm") == on


@pytest.mark.parametrize("place", ["", "mkfifo", "mkdir"])
def test_whatever_stands_in_the_nodes_place_the_state_is_stored(own_device, own_client, place):
    shell(own_device, f"rm {NODE}" + (f"; {place} {NODE}" if place else ""))

    write(own_client, "termination", True)

    assert own_device.read(STORE) == stored(termination=1)
    assert not read(own_client, "termination")
    assert own_device.exists(NODE) == bool(place)


def test_a_fifo_in_the_nodes_place_does_not_hold_up_the_start(new_device):
    with started(new_device, f"mkdir -p /etc/network; echo BITRATE=5 >{STORE}; rm {NODE}; mkfifo {NODE}") as client:
        assert read(client, "baudrate") == 5


# The store on the bus


def test_the_store_is_below_the_port(own_device, own_client):
    store = f"{CAN}/canconfig"
    assert own_client.call(store, "getAll") == {"BITRATE": "1000000", "TERMINATION": "0", "RESTART": "1000"}

    own_client.call(store, "syncSet", "BITRATE", "500000")

    assert own_device.read(STORE) == stored(rate=500000)
    assert read(own_client, "baudrate") == 500000
    assert restarts(own_device) == []
