"""Services that the daemon calls are gone, die in a call, refuse, lie, dawdle or never answer: its clients have their
answers, it works again as soon as the service does, and nothing stays behind."""

import concurrent.futures
import contextlib
import itertools
import typing

import dbus
import pytest
from busclient import BusClient
from footprint import Footprint, assert_back_to
from insidetools import SPARING, end_service, platform_jobs
from interfacesfile import interfaces_file, static_stanza
from mockservices import DEATH, SILENCE, ScriptedService
from networkclient import NetworkClient
from plcdevice import LOADER, PlcDevice

CONNMAN, PLC, INIT, AVAHI = "net.connman", "com.ozt.codesys", "com.ubuntu.Upstart", "org.freedesktop.Avahi"

LEASE = dbus.Dictionary({"Method": "dhcp", "Address": "192.168.10.77", "Netmask": "255.255.255.0"}, signature="sv")
WELL = {
    CONNMAN: {
        "Introspect": ("s", "<node><node name='ethernet_1'/></node>"),
        "GetProperties": ("a{sv}", {"IPv4.Configuration": LEASE}),
        "SetProperty": ("",),
    },
    PLC: {"apps": ("as", ["Pump", "Fan"]), "version": ("i", 35)},
    INIT: {"Start": ("o", "/job"), "Stop": ("",), "Restart": ("o", "/job")},
    AVAHI: {"SetHostName": ("",)},
}

# What every method of a failing service answers; nothing for a service that is not there.
FAILURES = {
    "gone": None,
    "dying in the call": DEATH,
    "refusing": "com.ozt.Error.Failed",
    "answering nothing": ("",),
    "answering a number": ("i", -1),
    "answering a map of nonsense": ("a{sv}", {"IPv4.Configuration": 1, "IPv4": "a", "Nameservers": LEASE}),
    "answering at length": ("s", "x" * 1_000_000),
}

DELAY_MS = 300
ROUNDS, LONG_ROUNDS = 5, 300
ANSWER_LIMIT = 35  # seconds: the longest that the daemon waits for an answer is 30

numbers = itertools.count(1)


def read_port(client):
    network = NetworkClient(client)
    network.ipaddress = "10.9.9.9"
    network.read()
    return network.ipaddress


def save_port(client):
    network = NetworkClient(client)
    network.write(ipaddress="10.1.2.3", netmask="255.0.0.0", gateway="10.0.0.1", nameserver="9.9.9.9", dhcp=False)
    saved = network.save()
    network.ipaddress = ""
    return saved, client.device.read("/etc/network/interfaces")


def lose_network(client):
    def jobs():
        # That one comes a while after the port was saved.
        return [job for job in platform_jobs(client.device) if job[1:2] != ["avahi_2dautoip"]]

    before = len(jobs())
    NetworkClient(client).call("connmanServicePropertyChanged", "State", "idle", signature="sv", limit=ANSWER_LIMIT)
    return jobs()[before:]


def back_up_plc(client):
    archive = client.call("/loader", "createCodesysTarball", interface=LOADER, limit=ANSWER_LIMIT)
    return bool(archive) and client.device.exec(["rm", archive]).returncode == 0


def set_log_size(client):
    size = next(numbers)
    client.call("/system/syslog", "setLogFileSize", size, limit=ANSWER_LIMIT)
    return f'SIZE="-s {size}"' in client.device.read("/etc/syslog.conf")


def set_time_server(client):
    server = f"10.8.0.{next(numbers)}"
    client.call("/system/time/ntp", "setNtpServer", server, limit=ANSWER_LIMIT)
    return f"server {server} " in client.device.read("/var/run/ntp/ntp.conf")


def name_device(client):
    name = f"mill-{next(numbers)}"
    client.set("/system", "local.System", "hostname", name)
    return client.device.read("/proc/sys/kernel/hostname").strip() == name


class Operation(typing.NamedTuple):
    peer: str
    run: typing.Callable  # what it returns is what the client gets, and the effect of it
    well: object
    failing: object
    silent: str | None = None  # the method whose answer is waited for


SAVED = (True, interfaces_file(static_stanza()))
NETWORK_LOST = [["start", "hostname", False], ["stop", "avahi_2ddaemon", False], ["stop", "nmbd", False]]
OPERATIONS = {
    "the port is read": Operation(CONNMAN, read_port, "192.168.10.77", "10.9.9.9", "Introspect"),
    "the port is saved": Operation(CONNMAN, save_port, SAVED, SAVED),
    "the network is lost": Operation(CONNMAN, lose_network, NETWORK_LOST, NETWORK_LOST, "SetProperty"),
    "the PLC is backed up": Operation(PLC, back_up_plc, True, False, "apps"),
    "the log is limited": Operation(INIT, set_log_size, True, True, "Restart"),
    "a time server is set": Operation(INIT, set_time_server, True, True, "Stop"),
    "the device is named": Operation(AVAHI, name_device, True, True),
}
WAITED_FOR = {name: operation for name, operation in OPERATIONS.items() if operation.silent}


def peer_that(device, peer, answer):
    """The service, with the same answer for all its methods."""
    if answer is None:
        return contextlib.nullcontext()
    return ScriptedService(device, peer, **dict.fromkeys(WELL[peer], answer))


def started(device):
    """A device with a PLC and without the stand-ins whose places the services take."""
    device.start(env=SPARING)
    device.install_runtime()
    with BusClient(device) as client:
        for name in (PLC, INIT):
            end_service(device, client, name)
    return device


@pytest.fixture
def device_class():
    return PlcDevice


@pytest.fixture(scope="module")
def module_device(tmp_path_factory, stage):
    device = PlcDevice(tmp_path_factory.mktemp("device") / "state", stage)
    yield started(device)
    device.power_cut()


@pytest.mark.parametrize("operation", OPERATIONS.values(), ids=OPERATIONS)
@pytest.mark.parametrize("answer", FAILURES.values(), ids=FAILURES)
def test_a_service_that_fails_costs_its_own_part_alone(device, client, operation, answer, long_form):
    def rounds(count):
        for _ in range(count):
            with peer_that(device, operation.peer, answer):
                assert operation.run(client) == operation.failing

    rounds(ROUNDS)
    before = Footprint.of(device)

    rounds(LONG_ROUNDS if long_form else ROUNDS)

    for _ in range(150):  # some work: until there is some, the memory of a long answer may stay with the daemon
        client.get("/system", "local.System", "hostname")
    assert_back_to(before, device)
    with ScriptedService(device, operation.peer, **WELL[operation.peer]) as peer:
        assert operation.run(client) == operation.well
        device.wait_for(lambda: peer.seen, what="the service to be called again")


@pytest.mark.parametrize("operation", OPERATIONS.values(), ids=OPERATIONS)
def test_a_service_that_takes_its_time_is_waited_for(device, client, operation):
    with ScriptedService(device, operation.peer, DELAY_MS, **WELL[operation.peer]):
        assert operation.run(client) == operation.well


@pytest.mark.slow
@pytest.mark.parametrize("operation", WAITED_FOR.values(), ids=WAITED_FOR)
def test_a_silent_service_is_given_up_and_others_are_served_then(new_device, operation):
    device = started(new_device)
    with BusClient(device) as client, BusClient(device) as other, concurrent.futures.ThreadPoolExecutor() as pool:
        assert operation.run(client) == operation.failing
        before = Footprint.of(device)

        with ScriptedService(device, operation.peer, **WELL[operation.peer] | {operation.silent: SILENCE}) as silent:
            answer = pool.submit(operation.run, client)
            device.wait_for(lambda: operation.silent in silent.seen, what="the service to be called")
            other.call("/system/network", "getHostname", limit=ANSWER_LIMIT)
            assert answer.result() == operation.failing

        assert_back_to(before, device)
        with ScriptedService(device, operation.peer, **WELL[operation.peer]):
            assert operation.run(client) == operation.well
