"""Whatever is sent under connman's name, by whomever, the daemon stays up and as large as it was."""

import dbus
import dbus.lowlevel
import pytest
from connmanvalues import VARIANTS
from insidetools import platform_jobs, resident_kib
from mockservices import ConnmanMock

CONNMAN = ("/net/connman/service/ethernet_1", "net.connman.Service", "PropertyChanged")
FLOOD = 10_000
GROWTH_KIB = 1024


@pytest.fixture
def own_device(sparing_device):
    return sparing_device


def emit(network, signature, *arguments):
    signal = dbus.lowlevel.SignalMessage(*CONNMAN)
    signal.append(*arguments, signature=signature)
    network.bus.connection.send_message(signal)


@pytest.mark.parametrize("value", VARIANTS.values(), ids=VARIANTS)
def test_a_state_of_another_type_is_none(own_device, network, value):
    emit(network, "sv", "State", value)
    network.call("getHostname")

    assert platform_jobs(own_device) == []


@pytest.mark.parametrize("value", VARIANTS.values(), ids=VARIANTS)
def test_a_client_can_call_with_any_state(own_device, network, value):
    network.call("connmanServicePropertyChanged", "State", value, signature="sv")

    assert platform_jobs(own_device) == []


FORMS = [
    ("", []),
    ("s", ["State"]),
    ("ss", ["State", "online"]),
    ("vs", ["State", "online"]),
    ("svs", ["State", "online", "online"]),
    ("i", [1]),
    ("a{sv}", [{"State": "online"}]),
    ("(sv)", [("State", "online")]),
]


@pytest.mark.parametrize(("signature", "arguments"), FORMS, ids=[form[0] or "nothing" for form in FORMS])
def test_a_signal_of_another_form_is_not_heard(own_device, network, signature, arguments):
    emit(network, signature, *arguments)
    network.call("getHostname")

    assert platform_jobs(own_device) == []


def flood(network, values):
    for value in values:
        emit(network, "sv", "State", value)
    network.bus.connection.flush()
    network.call("getHostname", limit=120)


def test_a_flood_of_signals_is_lived_through(own_device, network):
    values = list(VARIANTS.values())

    flood(network, [values[each % len(values)] for each in range(FLOOD)])

    assert platform_jobs(own_device) == []


def test_a_flood_of_signals_leaves_the_daemon_as_large_as_it_was(own_device, network):
    def in_portions():  # what waits in the queue takes memory too, and how much does depends on the machine
        for _ in range(0, FLOOD, len(VARIANTS)):
            flood(network, VARIANTS.values())

    in_portions()
    before = resident_kib(own_device)

    in_portions()

    assert resident_kib(own_device) - before < GROWTH_KIB


def test_a_port_that_flaps_leaves_the_daemon_as_large_as_it_was(own_device, network):
    with ConnmanMock(own_device):
        flapping = ["ready", "online", "idle"] * 20
        flood(network, flapping)
        before = resident_kib(own_device)

        flood(network, flapping)

        assert resident_kib(own_device) - before < GROWTH_KIB
    assert platform_jobs(own_device).count(["restartNameservices"]) == 80


def test_settings_written_and_saved_over_and_over_leave_it_as_large_as_it_was(own_device, network):
    def rounds(count):
        for number in range(count):
            network.write(ipaddress=f"10.0.0.{number % 250}", dhcp=bool(number % 2), nameserver="x" * number)
            network.save()

    with ConnmanMock(own_device):
        rounds(60)
        before = resident_kib(own_device)
        rounds(60)

        assert resident_kib(own_device) - before < GROWTH_KIB
