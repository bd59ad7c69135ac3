"""Who may do what on the bus: root, who is in the group, the web server's user, and anybody else."""

import contextlib
import itertools
import os
import typing

import pytest
import rawbus
from busclient import PROPERTIES, SERVICE
from insidetools import shadow, shell, start_shadowed
from objecttree import INTERFACES
from otheruser import seat_of

PACKAGING = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(__file__))), "packaging")
DROP_IN = "/etc/dbus-1/system.d/nodekeep-webserver.conf"
REFUSED = "org.freedesktop.DBus.Error.AccessDenied"

# Numbers as in the device's /etc/passwd and /etc/group.
GROUP = 103
USERS = {
    "root": {"user": 0},
    "a member": {"user": 65534, "groups": [GROUP]},
    "the web server": {"user": 33},
    "anybody": {"user": 65534},
}
CALLERS = {"root", "a member"}

UPLOAD = "/tmp/upload"
TIME_SERVER = "192.0.2.123"


class Message(typing.NamedTuple):
    path: str
    interface: str | None
    name: str
    signature: str = ""
    values: tuple = ()


SIGNALS = {
    "upload": Message("/", "com.ozt.httpdata", "fileUploaded", "ss", (UPLOAD, "report.pdf")),
    "time server": Message("/", "net.connman.Service", "PropertyChanged", "sv", ("Timeservers", ("s", TIME_SERVER))),
    "all is up": Message("/", "com.ozt.syscfgmgr", "started"),
}


@pytest.fixture(scope="module")
def module_device(module_device):
    """A device on which a reboot is asked for and does not happen, and nobody tells that all is up."""
    module_device.power_cut()
    module_device.start(daemon=False, started=False)
    shadow(module_device, "shutdown", "exit 0")
    start_anew(module_device)
    return module_device


def start_anew(device):
    """Starts a daemon that takes this for the first start after an update, and has heard of nothing yet."""
    device.stop_daemon()
    shell(device, "touch /new_firmware; rm -f /var/log/qmz/*")
    start_shadowed(device)


@pytest.fixture
def drop_in(device):
    """The example of a policy for the web server, in force."""
    with open(os.path.join(PACKAGING, "nodekeep-webserver.conf")) as file:
        device.write(DROP_IN, file.read())
    reload_policies(device)
    yield
    shell(device, f"rm {DROP_IN}")
    reload_policies(device)


def reload_policies(device):
    with rawbus.RawBus(device) as bus:
        assert error_of(bus, bus.call(*rawbus.BUS, "ReloadConfig")) is None


def connected(device, user):
    with seat_of(device, **USERS[user]) as seat:
        return rawbus.RawBus(seat)


def send(bus, kind, destination, message):
    """Sends a message that wants no answer, and returns its serial number."""
    fields = rawbus.call_fields(destination, *message[:3])
    return bus.send(kind, fields, message.signature, message.values, flags=rawbus.NO_REPLY_EXPECTED)


def error_of(bus, serial):
    """The name of the error that a call ends with, None for an answer."""
    answers = {}
    while serial not in answers:
        answers |= bus.receive(30)
    return answers[serial]


# Calls


def every_call(client):
    """All that can be asked of the daemon's objects."""
    for path in client.paths():
        for interface in client.introspect(path).iterfind("interface"):
            name = interface.get("name")
            for method in interface.iterfind("method"):
                yield Message(path, name, method.get("name"))
            for member in interface.iterfind("property"):
                yield Message(path, PROPERTIES, "Get", "ss", (name, member.get("name")))
                yield Message(path, PROPERTIES, "Set", "ssv", (name, member.get("name"), ("s", "a")))
        yield Message(path, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
        yield Message(path, None, "Introspect")
    yield Message("/nothing", "local.Nothing", "nothing")


@contextlib.contextmanager
def standing_still(device):
    """Keeps the daemon from doing what it is asked meanwhile: a new one takes its place in the end."""
    pid = device.daemon_status()["pid"]
    shell(device, f"kill -STOP {pid}")
    try:
        yield
    finally:
        shell(device, f"kill -KILL {pid}")
        start_anew(device)


@pytest.mark.parametrize("user", USERS)
def test_the_bus_hands_on_the_calls_of_root_and_the_group_alone(device, client, user):
    names = (SERVICE, client.connection.get_name_owner(SERVICE))
    calls = list(every_call(client))
    assert {call.path for call in calls} > set(INTERFACES)

    sent, refused = {}, {}
    with standing_still(device), connected(device, user) as bus:
        for name, call in itertools.product(names, calls):
            sent[send(bus, rawbus.CALL, name, call)] = name, call
        last = bus.call(*rawbus.BUS, "GetId")
        while last not in refused:
            refused |= bus.receive(30)

    assert refused.pop(last) is None
    assert set(refused.values()) <= {REFUSED}
    assert {sent[serial] for serial in refused} == (set() if user in CALLERS else set(sent.values()))


@pytest.mark.parametrize("user", USERS)
def test_who_may_call_is_served(device, client, user):
    name, value = f"of {user}".replace(" ", "_"), "1"

    with connected(device, user) as bus:
        setting = bus.call(SERVICE, "/system/guiLevel1", "local.BareboxConfig", "set", "ss", (name, value))
        error = error_of(bus, setting)

    assert error == (None if user in CALLERS else REFUSED)
    assert client.call("/system/guiLevel1", "get", name) == (value if user in CALLERS else "")


# Signals

# What each signal leaves behind, told by its name.
HEARD = f"""
[ -e {UPLOAD} ] || echo upload
! grep -q {TIME_SERVER} /run/ntp/ntp.conf || echo time server
! grep -q SystemEvent.reboot /var/log/qmz/platform.jsonl || echo all is up
"""


@pytest.fixture
def heard(device, client):
    """The names of the signals that a daemon, started for the test, has acted on so far."""

    def look():
        client.ping()
        return set(shell(device, HEARD).splitlines())

    device.write(UPLOAD, "content")
    start_anew(device)
    return look


def emit(device, user, *signals):
    """Has a user send signals to everybody, and to the daemon. When it returns, the bus has dealt with them."""
    with connected(device, user) as bus:
        for signal, destination in itertools.product(signals, (None, SERVICE)):
            send(bus, rawbus.SIGNAL, destination, SIGNALS[signal])
        assert error_of(bus, bus.call(*rawbus.BUS, "GetId")) is None


@pytest.mark.parametrize("signal", SIGNALS)
def test_a_signal_counts_when_root_sends_it_and_when_nobody_else_does(device, heard, signal):
    for user in USERS.keys() - {"root"}:
        emit(device, user, signal)
    assert heard() == set()

    emit(device, "root", signal)

    assert heard() == {signal}


def test_with_a_policy_of_his_own_the_web_servers_user_tells_of_uploads_and_does_no_more(device, heard, drop_in):
    emit(device, "anybody", *SIGNALS)
    emit(device, "a member", *SIGNALS)
    emit(device, "the web server", *SIGNALS.keys() - {"upload"})
    with connected(device, "the web server") as bus:
        assert error_of(bus, bus.call(SERVICE, "/system", "local.System", "getPwDisable")) == REFUSED
    assert heard() == set()

    emit(device, "the web server", "upload")

    assert heard() == {"upload"}


@pytest.mark.parametrize("user", USERS)
def test_root_alone_may_own_the_name(device, user):
    with connected(device, user) as bus:
        own = bus.call(*rawbus.BUS, "RequestName", "su", (SERVICE, 4))

        assert error_of(bus, own) == (None if user == "root" else REFUSED)
