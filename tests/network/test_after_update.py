"""The first start after an update hands the static address of the restored interfaces file back to connman."""

import pytest
from busclient import BusClient
from connmanvalues import manual, nameservers
from insidetools import platform_jobs
from interfacesfile import DHCP_STANZA, interfaces_file, static_stanza
from mockservices import AvahiMock, ConnmanMock

STORE = "/srv/nodekeep"


class UpdatedDevice:
    """A device whose daemon is about to find saved settings, with a mocked connman and Avahi."""

    def __init__(self, device, connman, avahi):
        self.device = device
        self.connman = connman
        self.avahi = avahi

    def start_with(self, interfaces):
        self.device.write(f"{STORE}/interfaces", interfaces)
        self.device.write(f"{STORE}/update", "NAND_UPDATE=\n")
        self.device.start_daemon()

    def told(self):
        return self.connman.properties_set()


@pytest.fixture
def updated(new_device):
    new_device.start(daemon=False)
    with ConnmanMock(new_device) as connman, AvahiMock(new_device) as avahi:
        yield UpdatedDevice(new_device, connman, avahi)


def test_the_address_goes_first_and_then_the_name_server(updated):
    updated.start_with(interfaces_file(static_stanza()))

    assert updated.told() == [manual(), nameservers("9.9.9.9")]
    assert 'setting address: "10.1.2.3"  netmask: "255.0.0.0"  gateway: "10.0.0.1"' in updated.device.daemon_log()


def test_without_a_name_server_only_the_address_goes(updated):
    updated.start_with(interfaces_file(static_stanza(nameserver="")))

    assert updated.told() == [manual()]


@pytest.mark.parametrize(
    "ethernet",
    [DHCP_STANZA, static_stanza(gateway=""), static_stanza(address="10.1"), static_stanza(netmask="x"), ""],
    ids=["DHCP", "no gateway", "no address", "no mask", "no stanza"],
)
def test_a_file_without_a_usable_address_hands_over_nothing(updated, ethernet):
    updated.start_with(interfaces_file(ethernet))

    assert updated.told() == []
    assert "setting address" not in updated.device.daemon_log()


def test_the_host_name_is_announced_once_more(updated):
    updated.start_with(interfaces_file(static_stanza()))

    name = updated.device.read("/proc/sys/kernel/hostname").strip()
    updated.device.wait_for(lambda: len(updated.avahi.host_names()) >= 2, what="both announcements")
    assert updated.avahi.host_names() == [name, name]


def test_the_boot_variables_stay(updated):
    before = updated.device.flash

    updated.start_with(interfaces_file(static_stanza()))

    assert updated.device.flash == before


def restarts(device):
    return platform_jobs(device).count(["restartNameservices"])


def test_nobody_but_the_one_object_hears_of_connman_afterwards(updated):
    updated.start_with(interfaces_file(static_stanza()))
    before = restarts(updated.device)

    updated.connman.tell("State", "online")

    updated.device.wait_for(lambda: restarts(updated.device) > before, what="the reaction")
    with BusClient(updated.device) as bus:
        bus.call("/system/network", "getHostname")  # answered once whoever else has heard of it has reacted
    assert restarts(updated.device) == before + 1


def test_an_ordinary_start_hands_over_nothing(updated):
    updated.device.write("/etc/network/interfaces", interfaces_file(static_stanza()))

    updated.device.start_daemon()

    assert updated.told() == []
    assert "setting address" not in updated.device.daemon_log()
    assert len(updated.avahi.host_names()) == 1


def test_without_connman_the_start_goes_on(new_device):
    new_device.start(daemon=False)
    new_device.write(f"{STORE}/interfaces", interfaces_file(static_stanza()))
    new_device.write(f"{STORE}/update", "NAND_UPDATE=\n")

    new_device.start_daemon()

    assert 'setting address: "10.1.2.3"' in new_device.daemon_log()
    with BusClient(new_device) as bus:
        assert bus.get("/loader", "local.FwUpdateSettings", "fwUpdated")
