"""The daemon with the real connman and the real Avahi, on a network with a DHCP server."""

import dbus
from insidetools import addresses, init_jobs, platform_calls
from interfacesfile import DHCP_STANZA, interfaces_file, static_stanza

STATIC = {
    "ipaddress": "192.168.10.7",
    "netmask": "255.255.255.0",
    "gateway": "192.168.10.1",
    "nameserver": "192.168.10.2",
    "dhcp": False,
}
STATIC_STANZA = static_stanza(
    address="192.168.10.7", netmask="255.255.255.0", gateway="192.168.10.1", nameserver="192.168.10.2"
)


class Connman:
    """connman's Ethernet service, past the daemon."""

    def __init__(self, client):
        self.connection = client.bus.connection
        ((self.path, _),) = self.connection.call_blocking(
            "net.connman", "/", "net.connman.Manager", "GetServices", "", ()
        )

    def call(self, method):
        self.connection.call_blocking("net.connman", self.path, "net.connman.Service", method, "", ())

    def get(self, name):
        every = self.connection.call_blocking("net.connman", self.path, "net.connman.Service", "GetProperties", "", ())
        return every[name]


def avahi_name(client):
    try:
        return client.bus.connection.call_blocking(
            "org.freedesktop.Avahi", "/", "org.freedesktop.Avahi.Server", "GetHostName", "", ()
        )
    except dbus.DBusException:
        return None


def job(call, name):
    """One of init_jobs."""
    return [call, name, [], False]


def leased(address):
    return 100 <= int(address.split("/")[0].rpartition(".")[2]) <= 199


def test_a_lease_is_read_back_as_the_port_has_it(connected_device, connected):
    address = connected.ipaddress

    assert addresses(connected_device) == [f"{address}/24"]
    assert leased(address)
    assert connected.settings == {
        "ipaddress": address,
        "netmask": "255.255.255.0",
        "gateway": "192.168.10.1",
        "dhcp": True,
        "nameserver": "192.168.10.1",
    }


def test_a_static_address_reaches_the_port_after_the_answer_and_gives_way_to_a_lease_again(connected_device, connected):
    device = connected_device
    connman = Connman(connected)
    lease = addresses(device)

    connected.write(**STATIC)
    assert connected.save()

    assert addresses(device) == lease, "the client has its answer while the port still has the old address"
    assert device.read("/etc/network/interfaces") == interfaces_file(STATIC_STANZA)
    assert connman.get("Nameservers.Configuration") == ["192.168.10.2"], "name servers don't wait"
    device.wait_for(lambda: addresses(device) == ["192.168.10.7/24"], limit=60, what="the static address")
    device.wait_for(lambda: connman.get("State") == "ready", limit=60, what="connman to be ready")
    connected.read()
    assert connected.settings == STATIC

    connected.dhcp = True
    assert connected.save()

    assert addresses(device) == ["192.168.10.7/24"]
    assert device.read("/etc/network/interfaces") == interfaces_file(DHCP_STANZA)
    assert connman.get("Nameservers.Configuration") == []
    device.wait_for(lambda: any(map(leased, addresses(device))), limit=60, what="a lease")
    device.wait_for(lambda: connman.get("State") == "ready", limit=60, what="connman to be ready")
    connected.read()
    assert connected.dhcp and connected.nameserver == "192.168.10.1"
    events = platform_calls(device, "SystemEvent.networkAddressChange")
    assert events == [["192.168.10.7", "/"], ["DHCP", "/"]]


def test_the_jobs_follow_the_state_of_the_port(connected_device, connected):
    device = connected_device
    connman = Connman(connected)
    device.wait_for(lambda: init_jobs(device)[-1:] == [job("Start", "avahi_2ddaemon")], what="the jobs to be started")
    before = len(init_jobs(device))

    connman.call("Disconnect")

    gone = [job("Start", "hostname"), job("Stop", "avahi_2ddaemon"), job("Stop", "nmbd")]
    device.wait_for(lambda: init_jobs(device)[before:] == gone, limit=60, what="the jobs of a lost network")
    device.wait_for(lambda: avahi_name(connected) is None, limit=10, what="Avahi to be gone")

    connman.call("Connect")

    back = job("Stop", "avahi_2dautoip")
    device.wait_for(lambda: back in init_jobs(device)[before:], limit=60, what="the network's return")
    device.wait_for(lambda: avahi_name(connected), limit=10, what="Avahi to be there")


def test_avahi_has_the_kernels_host_name_whoever_changes_it(connected_device, connected):
    device = connected_device
    device.wait_for(lambda: avahi_name(connected) == "node-4711", limit=60, what="the name of the start")

    connected.bus.set("/system", "local.System", "hostname", "mill-7")
    device.wait_for(lambda: avahi_name(connected) == "mill-7", limit=60, what="the name that a client set")

    device.write("/proc/sys/kernel/hostname", "press-9\n")
    device.wait_for(lambda: avahi_name(connected) == "press-9", limit=60, what="the name that another program set")


def test_connman_that_is_there_before_the_daemon_is_read_at_once(connected_device, connected):
    device = connected_device
    address = connected.ipaddress
    device.stop_daemon()
    before = len(init_jobs(device))

    device.start_daemon()

    assert connected.settings["ipaddress"] == address
    assert connected.gateway == "192.168.10.1"
    assert init_jobs(device)[before:] == [], "an address by DHCP needs no job"


def test_a_power_cycle_keeps_the_static_address(connected_device, connected):
    device = connected_device
    connected.write(**STATIC)
    assert connected.save()
    device.wait_for(lambda: addresses(device) == ["192.168.10.7/24"], limit=60, what="the static address")
    # which connman does a moment later, under another name at first
    stored = ["grep", "-rqF", "--include=settings", "192.168.10.7", "/var/lib/connman"]
    device.wait_for(lambda: device.exec(stored).returncode == 0, what="connman to keep the address")
    connected.bus.close()

    device.power_cycle()

    device.wait_for(lambda: addresses(device) == ["192.168.10.7/24"], limit=60, what="the static address again")
    assert device.read("/etc/network/interfaces") == interfaces_file(STATIC_STANZA)
