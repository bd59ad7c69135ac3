"""Which jobs run as connman's state and the settings change, and what Avahi is told."""

import pytest
from busclient import BusClient
from connmanvalues import MANUAL
from insidetools import platform_jobs
from mockservices import SILENCE, AvahiMock, ConnmanMock, ScriptedService
from networkclient import NetworkClient

LINK_LOCAL = "avahi_2dautoip"
AVAHI = "avahi_2ddaemon"
RESTART = ["restartNameservices"]
START = {job: ["start", job, False] for job in (LINK_LOCAL, AVAHI, "hostname")}
STOP = {job: ["stop", job, False] for job in (LINK_LOCAL, AVAHI, "nmbd")}


def quiet(device, look):
    """Whether what `look` sees stays the same while the daemon answers a few calls."""
    before = look()
    with BusClient(device) as bus:
        for _ in range(5):
            bus.call("/system/network", "getHostname")
    return look() == before


class Situation:
    """A running device with a mocked connman, static or with DHCP, and the steps that lead to an event."""

    def __init__(self, device, connman, network):
        self.device = device
        self.connman = connman
        self.network = network

    def online(self):
        self.connman.tell("State", "online")

    def ready(self):
        self.connman.tell("State", "ready")

    def idle(self):
        self.connman.tell("State", "idle")

    def save(self):
        self.network.read()
        self.device.write("/var/log/qmz/platform.jsonl", "")
        assert self.network.save()

    def start_up(self):
        self.device.stop_daemon()
        self.device.write("/var/log/qmz/platform.jsonl", "")
        self.device.start_daemon()


TABLE = [
    (Situation.start_up, "static", [START[LINK_LOCAL]]),
    (Situation.start_up, "DHCP", []),
    (Situation.online, "static", [START[LINK_LOCAL], RESTART, START[AVAHI]]),
    (Situation.ready, "static", [START[LINK_LOCAL], RESTART, START[AVAHI]]),
    (Situation.online, "DHCP", [STOP[LINK_LOCAL], RESTART, START[AVAHI]]),
    (Situation.ready, "DHCP", [STOP[LINK_LOCAL], RESTART, START[AVAHI]]),
    (Situation.idle, "static", [START["hostname"], STOP[AVAHI], STOP["nmbd"]]),
    (Situation.idle, "DHCP", [START["hostname"], STOP[AVAHI], STOP["nmbd"]]),
    # The last one comes with the addresses, a while later.
    (Situation.save, "static", [STOP["nmbd"], START["hostname"], START[LINK_LOCAL]]),
    (Situation.save, "DHCP", [STOP["nmbd"], STOP[LINK_LOCAL]]),
]


@pytest.mark.parametrize(("event", "method", "expected"), TABLE, ids=[f"{row[0].__name__}-{row[1]}" for row in TABLE])
def test_each_event_drives_these_jobs_in_this_order(own_device, event, method, expected):
    with ConnmanMock(own_device) as connman, BusClient(own_device) as bus:
        if method == "static":
            connman.set("IPv4.Configuration", MANUAL)
        situation = Situation(own_device, connman, NetworkClient(bus))

        event(situation)

        own_device.wait_for(lambda: len(platform_jobs(own_device)) >= len(expected), what="the jobs")
        NetworkClient(bus).call("getHostname")  # whatever comes from the event has come before the answer
        assert platform_jobs(own_device) == expected


def test_without_connman_the_start_touches_no_job(own_device):
    assert platform_jobs(own_device) == []


@pytest.mark.parametrize("state", ["", "Online", "online ", "association", "configuration", "disconnect", "failure"])
def test_other_states_change_nothing(own_device, connman, network, state):
    connman.tell("State", state)
    network.call("getHostname")

    assert platform_jobs(own_device) == []
    assert network.ipaddress == ""


@pytest.mark.parametrize("name", ["Nameservers", "state", "", "IPv4"])
def test_other_properties_change_nothing(own_device, connman, network, name):
    connman.tell(name, "online")
    network.call("getHostname")

    assert platform_jobs(own_device) == []
    assert network.ipaddress == ""


def test_ready_and_then_online_does_all_of_it_twice(own_device, connman, network):
    connman.tell("State", "ready")
    connman.tell("State", "online")

    once = [STOP[LINK_LOCAL], RESTART, START[AVAHI]]
    own_device.wait_for(lambda: len(platform_jobs(own_device)) >= 6, what="the jobs")
    assert platform_jobs(own_device) == once + once


def test_the_state_of_any_service_of_any_sender_counts(own_device, network):
    with ScriptedService(own_device, "com.ozt.httpdata") as stranger:
        stranger.emit("/anywhere", "net.connman.Service", "PropertyChanged", "sv", "State", "idle")

        own_device.wait_for(lambda: len(platform_jobs(own_device)) == 3, what="the jobs")


def test_a_client_can_tell_of_the_state_too(own_device, network):
    network.call("connmanServicePropertyChanged", "State", "idle", signature="sv")

    assert platform_jobs(own_device) == [START["hostname"], STOP[AVAHI], STOP["nmbd"]]


def test_connman_that_comes_late_is_read_when_its_state_changes(own_device, network):
    network.read()
    with ConnmanMock(own_device) as connman:
        assert network.ipaddress == ""

        connman.tell("State", "ready")

        own_device.wait_for(lambda: network.ipaddress == "192.168.10.77", what="the lease")


def test_going_online_reloads_the_boot_environment(own_device, connman, network):
    bus = network.bus
    bus.call("/loader", "addConfig", "extra")
    own_device.exec(["rm", "-r", "/var/run/bareboxenv"], check=True)

    connman.tell("State", "online")

    own_device.wait_for(lambda: own_device.exists("/var/run/bareboxenv/config"), what="the environment")


def test_the_start_up_look_leaves_the_boot_environment_alone(own_device):
    with ConnmanMock(own_device):
        own_device.stop_daemon()
        unpacked = own_device.daemon_log().count('new config file: "config"')

        own_device.start_daemon()

        assert own_device.daemon_log().count('new config file: "config"') == unpacked + 1


def test_the_start_up_look_does_not_reach_the_time_servers(new_device):
    new_device.start(daemon=False)
    with ConnmanMock(new_device) as connman:
        new_device.start_daemon()
        assert connman.calls("/", "SetProperty") == []

        connman.tell("State", "idle")
        new_device.wait_for(lambda: connman.calls("/", "SetProperty"), what="connman to be told of its clock")


def test_the_going_online_is_logged(own_device, connman, network):
    connman.tell("State", "online")

    own_device.wait_for(
        lambda: "connman state now online, restarting name resolution services" in own_device.daemon_log(),
        what="the line",
    )


def test_avahi_is_told_the_name_at_start_when_it_changes_and_when_the_network_comes(own_device):
    with AvahiMock(own_device) as avahi, ConnmanMock(own_device) as connman:
        own_device.stop_daemon()
        own_device.start_daemon()
        own_device.wait_for(lambda: avahi.host_names() == ["node-4711"], what="the start's call")

        own_device.write("/proc/sys/kernel/hostname", "  mill-7 \n")
        own_device.wait_for(lambda: avahi.host_names()[-1:] == ["mill-7"], what="the change's call")
        own_device.wait_for(lambda: quiet(own_device, avahi.host_names), what="the notices of the change to be over")

        before = len(avahi.host_names())
        connman.tell("State", "ready")
        own_device.wait_for(lambda: avahi.host_names()[before:] == ["mill-7"], what="the network's call")


def test_a_name_that_is_written_again_is_told_again(own_device):
    with AvahiMock(own_device) as avahi:
        for _ in range(2):
            before = len(avahi.host_names())
            own_device.write("/proc/sys/kernel/hostname", "mill-7\n")
            own_device.wait_for(lambda: avahi.host_names()[before:][-1:] == ["mill-7"], what="the call")
            own_device.wait_for(lambda: quiet(own_device, avahi.host_names), what="the notices to be over")


def test_avahi_is_told_a_name_in_ascii(own_device):
    with AvahiMock(own_device) as avahi:
        own_device.write("/proc/sys/kernel/hostname", "mühle-€")

        own_device.wait_for(lambda: avahi.host_names()[-1:] == ["m?hle-?"], what="the call")


def test_two_changes_are_told_in_order(own_device):
    with AvahiMock(own_device) as avahi:
        for name in ("mill-7", "press-9"):
            own_device.write("/proc/sys/kernel/hostname", name)
            own_device.wait_for(lambda: avahi.host_names()[-1:] == [name], what="the call")


def test_avahi_that_never_answers_keeps_nobody_waiting(own_device, network):
    with ScriptedService(own_device, "org.freedesktop.Avahi", SetHostName=SILENCE) as avahi:
        network.call("connmanServicePropertyChanged", "State", "online", signature="sv", limit=60)

        own_device.wait_for(lambda: avahi.seen == ["SetHostName"], what="the call")
        assert network.call("getHostname", limit=60) == "node-4711"


def test_a_host_name_that_cant_be_read_is_qmz(own_device, network):
    own_device.exec(["mount", "--bind", "/dev/null", "/proc/sys/kernel/hostname"], check=True)

    assert network.call("getHostname") == "qmz"


def test_an_empty_host_name_is_told_as_such(own_device, network):
    with AvahiMock(own_device) as avahi:
        own_device.write("/proc/sys/kernel/hostname", "\n")

        own_device.wait_for(lambda: avahi.host_names()[-1:] == [""], what="the call")
        assert network.call("getHostname") == ""


def test_the_host_name_is_read_from_the_kernel_at_each_call(own_device, network):
    own_device.exec(["hostname", "press-9"], check=True)  # which no watcher sees

    assert network.call("getHostname") == "press-9"
