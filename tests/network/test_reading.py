"""What is read of connman's services, steered by a mock."""

import dbus
import pytest
from busclient import BusClient
from connmanvalues import MANUAL, VARIANTS, values
from insidetools import daemon_children, shadow, start_shadowed
from mockservices import ConnmanMock, ScriptedService
from networkclient import NetworkClient

LEASED = {
    "ipaddress": "192.168.10.77",
    "netmask": "255.255.255.0",
    "gateway": "0.0.0.0",
    "dhcp": True,
    "nameserver": "192.168.10.1",
}
NOTHING = {"ipaddress": "", "netmask": "", "gateway": "0.0.0.0", "dhcp": True, "nameserver": ""}
OTHER_SERVICE = "ethernet_001122334466_cable"


def test_without_connman_there_is_nothing_but_dhcp(network):
    network.read()

    assert network.settings == NOTHING


def test_a_lease_comes_from_the_values_in_force(connman, network):
    network.read()

    assert network.settings == LEASED


def test_fixed_addresses_come_from_the_configuration_also_when_others_are_in_force(connman, network):
    connman.set("IPv4.Configuration", MANUAL)

    network.read()

    assert network.settings == LEASED | {"ipaddress": "10.1.2.3", "netmask": "255.0.0.0", "dhcp": False}


def test_an_empty_address_counts_as_none(connman, network):
    connman.set("IPv4.Configuration", values(method="manual", address="", netmask="255.0.0.0"))

    network.read()

    assert network.settings == LEASED


def test_a_map_without_an_address_is_not_looked_at_further(connman, network):
    connman.set("IPv4.Configuration", values(method="manual", netmask="255.0.0.0"))
    connman.set("IPv4", values(address="10.1.2.3"))

    network.read()

    assert network.settings == LEASED | {"ipaddress": "10.1.2.3", "netmask": ""}


def test_ipv6_is_the_last_resort_and_no_dhcp(connman, network):
    connman.set("IPv4", values())
    connman.set("IPv6", values(method="auto", address="2001:db8::7"))

    network.read()

    assert network.settings == NOTHING | {"ipaddress": "2001:db8::7", "dhcp": False, "nameserver": "192.168.10.1"}


def test_without_an_ipv4_configuration_nothing_else_is_looked_at(connman, network):
    connman.unset("IPv4.Configuration")

    network.read()

    assert network.settings == NOTHING | {"nameserver": "192.168.10.1"}


@pytest.mark.parametrize(
    ("nameservers", "expected"),
    [(["9.9.9.9", "8.8.8.8"], "9.9.9.9"), (["any text"], "any text"), ([], "")],
    ids=["two", "no address", "none"],
)
def test_the_first_name_server_counts(connman, network, nameservers, expected):
    network.nameserver = "1.1.1.1"
    connman.set("Nameservers", dbus.Array(nameservers, signature="s"))

    network.read()

    assert network.nameserver == expected


def test_a_name_server_stays_when_connman_tells_nothing_of_them(connman, network):
    network.nameserver = "1.1.1.1"
    connman.unset("Nameservers")

    network.read()

    assert network.nameserver == "1.1.1.1"


def test_an_address_that_is_none_reads_back_empty(connman, network):
    connman.set("IPv4", values(method="dhcp", address="10.1", netmask="0xff.0.0.0"))

    network.read()

    assert network.settings == LEASED | {"ipaddress": "", "netmask": ""}


def test_of_several_ethernet_services_the_last_one_counts(connman, network):
    connman.add_service("wifi_1")
    connman.add_service(OTHER_SERVICE)
    connman.set("Nameservers", dbus.Array(["4.4.4.4"], signature="s"), OTHER_SERVICE)

    network.read()

    assert network.nameserver == "4.4.4.4"


def test_a_service_that_was_found_is_asked_for_ever(connman, network):
    network.read()
    connman.add_service(OTHER_SERVICE)
    connman.set("Nameservers", dbus.Array(["4.4.4.4"], signature="s"), OTHER_SERVICE)
    network.read()
    assert network.nameserver == "192.168.10.1"

    connman.remove_service()
    network.nameserver = "1.1.1.1"
    network.read()
    assert network.nameserver == "1.1.1.1"


def test_a_service_is_looked_for_until_there_is_one(connman, network):
    connman.remove_service()
    connman.add_service("Ethernet_capital")
    network.read()
    assert network.settings == NOTHING

    connman.add_service(OTHER_SERVICE)
    network.read()
    assert network.settings == LEASED


def test_connman_that_goes_and_returns_is_read_again(own_device, network):
    with ConnmanMock(own_device):
        network.read()
        assert network.settings == LEASED
    network.nameserver = "1.1.1.1"

    network.read()
    assert network.nameserver == "1.1.1.1"

    with ConnmanMock(own_device):
        network.read()
        assert network.settings == LEASED


def test_a_read_discards_what_was_written_and_not_saved(connman, network):
    network.write(ipaddress="10.9.8.7", netmask="255.0.0.0", gateway="10.0.0.1", nameserver="1.1.1.1", dhcp=False)

    network.read()

    assert network.settings == LEASED


def test_a_failed_read_leaves_all_but_the_gateway(own_device, network):
    written = {"ipaddress": "10.9.8.7", "netmask": "255.0.0.0", "dhcp": False, "nameserver": "1.1.1.1"}
    network.write(gateway="10.0.0.1", **written)
    xml = ("s", f"<node><node name='{OTHER_SERVICE}'/></node>")

    with ScriptedService(own_device, "net.connman", Introspect=xml, GetProperties="net.connman.Error.Failed"):
        network.read()

    assert network.settings == written | {"gateway": "0.0.0.0"}
    assert "getConnmanNetworkSettings: \n" in own_device.daemon_log()
    assert (
        "NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed."
        in own_device.daemon_log()
    )


def test_what_was_written_and_not_saved_goes_when_the_state_changes(own_device, connman, network):
    network.ipaddress = "10.9.8.7"

    connman.tell("State", "online")

    own_device.wait_for(lambda: network.ipaddress == "192.168.10.77", what="the lease")


def ethernet_with_routes(device):
    device.exec(
        [
            "sh",
            "-ec",
            """
        ip link add eth0 type veth peer name far0
        ip link set far0 up
        ip addr add 192.168.10.7/24 dev eth0
        ip link set eth0 up
        ip route add default via 192.168.10.1
        ip route add 10.0.0.0/8 via 192.168.10.2
    """,
        ],
        check=True,
    )


def test_the_last_gateway_of_the_port_counts_and_each_is_logged(own_device, network):
    ethernet_with_routes(own_device)

    network.read()

    assert network.gateway == "192.168.10.2"
    log = own_device.daemon_log()
    assert 'gateway: "192.168.10.1"\ngateway: "192.168.10.2"\n' in log


def test_a_route_without_gateway_logs_nothing(own_device, network):
    ethernet_with_routes(own_device)
    own_device.exec(["sh", "-ec", "ip route del default; ip route del 10.0.0.0/8"], check=True)

    network.read()

    assert network.gateway == "0.0.0.0"
    assert "gateway:" not in own_device.daemon_log()


def test_without_the_tool_there_is_no_gateway(own_device, network):
    own_device.exec(["sh", "-c", "mount --bind /dev/null $(readlink -f $(which route))"], check=True)
    network.gateway = "10.0.0.1"

    network.read()

    assert network.gateway == "0.0.0.0"


@pytest.mark.slow
def test_a_tool_that_hangs_is_left_after_its_time(new_device):
    new_device.start(daemon=False)
    shadow(new_device, "route", "exec sleep 1000")
    start_shadowed(new_device)
    with BusClient(new_device) as bus:
        network = NetworkClient(bus)
        network.gateway = "10.0.0.1"

        network.call("getCurrentSettings", limit=60)

        assert network.gateway == "0.0.0.0"
    assert daemon_children(new_device) == []


INTROSPECTIONS = {
    "an error": "net.connman.Error.Failed",
    "nothing": ("",),
    "no text": ("i", 5),
    "a list of texts": ("as", [f"<node><node name='{OTHER_SERVICE}'/></node>"]),
    "no XML": ("s", "ethernet < node"),
    "entities without end": (
        "s",
        "<!DOCTYPE n [<!ENTITY a 'aaaaaaaaaa'>"
        + "".join(f"<!ENTITY {b} '{f'&{a};' * 10}'>" for a, b in zip("abcdefg", "bcdefgh"))
        + "]><node><node name='ethernet'>&h;</node></node>",
    ),
    "a name that is no part of a path": ("s", "<node><node name='ethernet/../ü'/></node>"),
    "a deep document": ("s", "<node>" * 100_000),
}


@pytest.mark.parametrize("answer", INTROSPECTIONS.values(), ids=INTROSPECTIONS)
def test_an_odd_list_of_services_is_no_service(own_device, network, answer):
    network.write(nameserver="1.1.1.1")

    with ScriptedService(own_device, "net.connman", Introspect=answer):
        network.read()

    assert network.settings == NOTHING | {"nameserver": "1.1.1.1"}


@pytest.mark.parametrize("value", VARIANTS.values(), ids=VARIANTS)
def test_settings_of_another_type_are_none(connman, network, value):
    written = NOTHING | {"ipaddress": "10.9.8.7", "netmask": "255.0.0.0", "dhcp": False}
    network.write(**written)
    for name in ("IPv4.Configuration", "IPv4", "IPv6"):
        connman.set(name, value)
    connman.set("Nameservers", dbus.Array([], signature="s"))

    network.read()

    assert network.settings == written


@pytest.mark.parametrize("value", [value for value in VARIANTS.values() if value != ["a", "b"]])
def test_name_servers_of_another_type_are_not_told(connman, network, value):
    network.nameserver = "1.1.1.1"
    connman.set("Nameservers", value)

    network.read()

    assert network.nameserver == "1.1.1.1"


@pytest.mark.parametrize("value", VARIANTS.values(), ids=VARIANTS)
def test_an_address_of_another_type_is_none(connman, network, value):
    connman.set("IPv4", values(method=value, netmask=value, address="10.1.2.3"))

    network.read()

    assert network.settings == LEASED | {"ipaddress": "10.1.2.3", "netmask": "", "dhcp": False}


@pytest.mark.parametrize(
    "answer",
    [("",), ("s", "x"), ("as", ["x"]), ("a{ss}", {"IPv4": "x"}), ("a{iv}", {1: "x"}), ("v", "x"), ("ai", [1])],
    ids=lambda answer: answer[0] or "nothing",
)
def test_properties_of_another_type_are_a_failed_read(own_device, network, answer):
    written = NOTHING | {"ipaddress": "10.9.8.7", "nameserver": "1.1.1.1"}
    network.write(**written)
    xml = ("s", f"<node><node name='{OTHER_SERVICE}'/></node>")

    with ScriptedService(own_device, "net.connman", Introspect=xml, GetProperties=answer) as connman:
        network.read()

    assert connman.seen == ["Introspect", "GetProperties"]
    assert network.settings == written
