"""Texts as long as a message can carry never make one that is too long, for which the bus would cut the daemon off."""

import pytest
from busclient import PROPERTIES, SERVICE
from rawbus import CALL, RawBus, call_fields, message

MESSAGE = 32 << 20  # bytes that the system bus carries in one
SENDER = 64  # bytes, more than the bus adds to say who sends it
NETWORK = ("/system/network", "local.NetworkInterface")


def write(device, path, interface, name, begin, length):
    """Writes a property, over a connection that carries any length."""
    text = begin + "x" * (length - len(begin))
    with RawBus(device) as bus:
        bus.call(SERVICE, path, PROPERTIES, "Set", "ssv", [interface, name, ("s", text)])
        bus.receive(30)


def longest(path, interface, name):
    """The length of a text with which writing a property is as long as a message can be."""
    fields = call_fields(SERVICE, path, PROPERTIES, "Set")
    return MESSAGE - SENDER - len(message(CALL, fields, "ssv", [interface, name, ("s", "")]))


@pytest.mark.parametrize(
    "path, interface, name",
    [
        (*NETWORK, "nameserver"),
        ("/system/syslog", "local.LogConfig", "remote_log_target"),
        ("/system/time/ntp", "local.NtpConfig", "server"),
        ("/system", "local.System", "hostname"),
        ("/system/time", "local.Systemtime", "timezone"),
    ],
)
def test_properties_are_answered_after_a_write_of_the_longest_text(device, client, path, interface, name):
    before = client.get_all(path, interface)

    write(device, path, interface, name, "", longest(path, interface, name))

    assert client.get_all(path, interface) == before


def test_long_addresses_are_none(device, client):
    for name in ("ipaddress", "netmask", "gateway"):
        write(device, *NETWORK, name, "fe80::1%", 12 << 20)

    properties = client.get_all(*NETWORK)
    assert [properties[name] for name in ("ipaddress", "netmask", "gateway")] == ["", "", ""]


def test_a_long_boot_variable_is_no_hardware_address(device, client):
    client.call("/loader", "lookupConfig", "config")

    client.call("/loader", "setEnv", "eth0.ethaddr", "x" * (2 << 20))

    assert client.get_all(*NETWORK)["macaddress"] == ""
