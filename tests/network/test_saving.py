"""What saveChanges writes, tells and leaves for later, steered by a mock of connman."""

import time

import pytest
from connmanvalues import manual, nameservers
from insidetools import platform_calls, platform_jobs
from interfacesfile import DHCP_STANZA, interfaces_file, static_stanza
from mockservices import SILENCE, ConnmanMock, ScriptedService

FILE = "/etc/network/interfaces"
PORT = {
    "ipaddress": "10.1.2.3",
    "netmask": "255.0.0.0",
    "gateway": "10.0.0.1",
    "nameserver": "9.9.9.9",
    "dhcp": False,
}
METHOD_DHCP = ("IPv4.Configuration", {"Method": "dhcp"})
METHOD_AUTO = ("IPv6.Configuration", {"Method": "auto"})


def address_events(device):
    return platform_calls(device, "SystemEvent.networkAddressChange")


def started(device, job):
    return platform_jobs(device).count(["start", job, False])


def applied(device, connman, count):
    """Waits until connman got that many properties, and returns them."""
    device.wait_for(lambda: len(connman.properties_set()) >= count, what="connman to be told")
    return connman.properties_set()


def test_static_settings_are_written_and_handed_over_name_servers_first(own_device, connman, network):
    network.write(**PORT)

    assert network.save()

    assert own_device.read(FILE) == interfaces_file(static_stanza())
    assert connman.properties_set()[:1] == [nameservers("9.9.9.9")]
    assert address_events(own_device) == [["10.1.2.3", "/"]]
    assert applied(own_device, connman, 2) == [nameservers("9.9.9.9"), manual()]
    own_device.wait_for(lambda: started(own_device, "avahi_2dautoip"), what="the end of the apply")
    assert connman.properties_set() == [nameservers("9.9.9.9"), manual()]


def test_dhcp_is_written_and_handed_over_and_clears_the_name_servers(own_device, connman, network):
    network.write(**PORT | {"dhcp": True})

    assert network.save()

    assert own_device.read(FILE) == interfaces_file(DHCP_STANZA)
    assert address_events(own_device) == [["DHCP", "/"]]
    assert applied(own_device, connman, 3) == [nameservers(), METHOD_DHCP, METHOD_AUTO]


def test_the_file_is_replaced_whole(own_device, connman, network):
    own_device.write(FILE, "an old file\n" * 1000)

    assert network.save()

    assert own_device.read(FILE) == interfaces_file(DHCP_STANZA)


def test_values_are_written_as_they_are_none_included(own_device, connman, network):
    network.write(**PORT | {"netmask": "", "gateway": "nowhere", "nameserver": ""})

    assert network.save()

    assert own_device.read(FILE) == interfaces_file(static_stanza(netmask="", gateway="", nameserver=""))
    assert applied(own_device, connman, 2) == [nameservers(), manual(netmask="", gateway="")]


def test_a_name_server_is_any_text(own_device, connman, network):
    network.write(**PORT | {"nameserver": "häuser \x01"})

    assert network.save()

    assert own_device.read_bytes(FILE) == interfaces_file(static_stanza(nameserver="h?user \x01")).encode()
    assert connman.properties_set()[:1] == [nameservers("häuser \x01")]


def test_the_same_static_address_is_new_but_once(own_device, connman, network):
    network.write(**PORT)

    for _ in range(2):
        assert network.save()

    assert address_events(own_device) == [["10.1.2.3", "/"]]
    assert started(own_device, "hostname") == 1
    assert platform_jobs(own_device).count(["stop", "nmbd", False]) == 2
    properties = applied(own_device, connman, 4)
    assert sorted(properties, key=str) == sorted([nameservers("9.9.9.9"), manual()] * 2, key=str)


def test_dhcp_is_told_but_once_and_a_return_to_the_same_address_is_news(own_device, connman, network):
    for dhcp in (True, True, False, False, True, False):
        network.write(**PORT | {"dhcp": dhcp})
        assert network.save()

    assert address_events(own_device) == [["DHCP", "/"], ["10.1.2.3", "/"], ["DHCP", "/"], ["10.1.2.3", "/"]]
    assert started(own_device, "hostname") == 2


def test_dhcp_that_was_there_at_start_is_no_news(own_device, network):
    with ConnmanMock(own_device):
        own_device.stop_daemon()
        own_device.start_daemon()

        assert network.save()

    assert address_events(own_device) == []


def test_a_null_static_address_is_no_news_after_the_start(own_device, connman, network):
    network.dhcp = False

    assert network.save()

    assert address_events(own_device) == []
    assert started(own_device, "hostname") == 0


def test_what_is_handed_over_is_what_the_properties_say_then(own_device, connman, network):
    network.write(**PORT)
    network.send_save()

    network.write(ipaddress="10.7.7.7")

    assert applied(own_device, connman, 2)[1] == manual(address="10.7.7.7")
    assert own_device.read(FILE) == interfaces_file(static_stanza())


def test_dhcp_written_after_saving_decides_what_is_handed_over(own_device, connman, network):
    network.write(**PORT)
    network.send_save()

    network.dhcp = True

    assert applied(own_device, connman, 3)[1:] == [METHOD_DHCP, METHOD_AUTO]


def test_a_file_that_cant_be_written_ends_it_early(own_device, connman, network):
    own_device.exec(["rm", "-f", FILE])
    own_device.exec(["mkdir", "-p", FILE], check=True)
    network.write(**PORT)

    assert not network.save()

    assert "saveChanges for network interface failed!" in own_device.daemon_log()
    assert [each["call"] for each in own_device.platform_log()][-1] == "Upstart.stop"
    assert connman.properties_set() == []
    # A later one is handed over alone: no timer had been started.
    own_device.exec(["rmdir", FILE], check=True)
    assert network.save()
    assert applied(own_device, connman, 2) == [nameservers("9.9.9.9"), manual()]


def test_a_fifo_in_the_files_place_is_not_waited_for(own_device, network):
    own_device.exec(["rm", "-f", FILE])
    own_device.exec(["mkfifo", FILE], check=True)

    assert not network.save()


def test_without_connman_the_file_is_written_all_the_same(own_device, network):
    network.write(**PORT)

    assert network.save()

    assert own_device.read(FILE) == interfaces_file(static_stanza())
    own_device.wait_for(lambda: 'set to manual ip: "no service"' in own_device.daemon_log(), what="the apply")
    assert started(own_device, "avahi_2dautoip") == 1

    network.dhcp = True
    assert network.save()
    own_device.wait_for(lambda: 'set to dhcp: "no service"' in own_device.daemon_log(), what="the apply")


def test_what_connman_refuses_is_logged_and_kept(own_device, connman, network):
    connman.refuse("No such thing")
    network.write(**PORT)

    assert network.save()

    own_device.wait_for(lambda: 'set to manual ip: "No such thing"' in own_device.daemon_log(), what="the line")
    assert network.settings == PORT


def test_what_connman_takes_is_logged_as_an_empty_text(own_device, connman, network):
    assert network.save()

    own_device.wait_for(lambda: 'set to dhcp: ""' in own_device.daemon_log(), what="the line")


def test_the_trace_of_a_save(own_device, connman, network):
    network.write(**PORT)
    network.save()

    line = next(line for line in own_device.daemon_log().splitlines() if "oldDhcp" in line)
    assert line.split() == (
        'debug: dhcp: false oldDhcp: false ip: QHostAddress("10.1.2.3") old ip: QHostAddress("")'.split()
    )


def test_a_reboot_saves_the_settings_first(own_device, network):
    network.write(**PORT)

    network.bus.send("/loader", "reboot")

    own_device.wait_for(lambda: own_device.boots == 2, limit=60, what="the reboot")
    assert own_device.read(FILE) == interfaces_file(static_stanza())
    calls = [each["call"] for each in own_device.platform_log()]
    calls = calls[calls.index("SystemEvent.networkAddressChange") :]
    assert calls[:4] == [
        "SystemEvent.networkAddressChange",
        "Upstart.start",
        "Upstart.stop",
        "SystemEvent.reboot",
    ]


def test_writes_go_on_into_the_boot_variables_in_memory(own_device, network):
    bus = network.bus
    flash = own_device.flash
    network.write(**PORT | {"gateway": "no address", "netmask": ""})

    variables = {
        name: bus.call("/loader/config", "get", name) for name in ("eth0.ipaddr", "eth0.netmask", "eth0.gateway", "ip")
    }
    assert variables == {"eth0.ipaddr": "10.1.2.3", "eth0.netmask": "", "eth0.gateway": "no address", "ip": "none"}
    assert network.settings == PORT | {"gateway": "", "netmask": ""}
    network.dhcp = True
    assert bus.call("/loader/config", "get", "ip") == "dhcp"
    assert own_device.flash == flash


def test_an_empty_address_is_not_taken_one_that_is_none_empties_it(network):
    network.ipaddress = "10.1.2.3"
    network.ipaddress = ""
    assert network.ipaddress == "10.1.2.3"
    assert network.bus.call("/loader/config", "get", "eth0.ipaddr") == "10.1.2.3"

    network.ipaddress = "10.1.2"
    assert network.ipaddress == ""
    assert network.bus.call("/loader/config", "get", "eth0.ipaddr") == "10.1.2"


def test_addresses_read_back_normalised(network):
    network.write(ipaddress=" 010.001.2.3\n", netmask="255.255.255.000", gateway="2001:DB8:0:0::1")

    assert network.settings == {
        "ipaddress": "10.1.2.3",
        "netmask": "255.255.255.0",
        "gateway": "2001:db8::1",
        "dhcp": True,
        "nameserver": "",
    }


def test_the_hardware_address_is_the_boot_variable(network):
    bus = network.bus
    assert network.macaddress == "00:11:22:33:44:55"

    bus.call("/loader/config", "set", "eth0.ethaddr", '"aa:bb"')
    assert network.macaddress == "aa:bb"

    bus.call("/loader/config", "set", "eth0.ethaddr", "")
    assert network.macaddress == ""


class WatchedConnman(ScriptedService):
    """A connman that takes note of when it is told, and of what the device has done by then."""

    def __init__(self, device):
        xml = ("s", "<node><node name='ethernet_1'/></node>")
        super().__init__(device, "net.connman", Introspect=xml, SetProperty=("",))
        self.device = device
        self.times = []
        self.sights = []

    def handle(self, connection, message):
        if message.get_member() == "SetProperty":
            self.times.append(time.monotonic())
            jobs = [job for _, job, _ in platform_jobs(self.device)]
            self.sights.append((self.device.read(FILE), jobs, len(address_events(self.device))))
        return super().handle(connection, message)


def test_name_servers_go_out_in_the_middle_of_the_file_and_addresses_at_the_end_of_the_delay(own_device, network):
    network.write(**PORT)
    with WatchedConnman(own_device) as connman:
        assert network.save()
        own_device.wait_for(lambda: len(connman.sights) == 2, what="the addresses")

    (unfinished, jobs_first, events_first), (finished, jobs_then, _) = connman.sights
    assert "can0 inet" not in unfinished
    assert (jobs_first, events_first) == (["nmbd"], 0)
    assert finished == interfaces_file(static_stanza())
    assert jobs_then == ["nmbd", "hostname"]
    assert connman.times[1] - connman.times[0] > 1.4


@pytest.mark.slow
def test_connman_that_never_answers_delays_and_no_more(own_device, network):
    xml = ("s", "<node><node name='ethernet_1'/></node>")
    network.write(**PORT)
    with ScriptedService(own_device, "net.connman", Introspect=xml, SetProperty=SILENCE):
        assert bool(network.call("saveChanges", limit=60))

    assert own_device.read(FILE) == interfaces_file(static_stanza())
