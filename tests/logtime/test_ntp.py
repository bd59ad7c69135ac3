"""The time servers: the user's, the network's, the file with both, the job that takes it, and the real NTP daemon."""

import dbus
import dbus.lowlevel
import dbus.types
import pytest
from busclient import BusClient
from insidetools import init_jobs, platform_jobs, shell
from mockservices import ConnmanMock

FILE = "/var/run/ntp/ntp.conf"
HEADING = """\
# ntp.conf written by nodekeep, all changes will be lost!
# Prohibit general access to this service
restrict 127.0.0.1
"""
TAIL = " iburst prefer minpoll 4 maxpoll 4\n"
OBJECT = ("/system/time/ntp", "local.NtpConfig")
VARIABLES = "/etc/variables"
STAND_IN = "127.0.0.1"
STOPPED, STARTED = ["stop", "ntp", True], ["start", "ntp", False]


def servers(device):
    """The servers in the file, all of which has to be in order."""
    text = device.read(FILE)
    assert text.startswith(HEADING)
    lines = text.removeprefix(HEADING).splitlines(keepends=True)
    names = [line.removeprefix("server ").removesuffix(TAIL) for line in lines]
    assert lines == [f"server {name}{TAIL}" for name in names]
    return names


def set_server(client, name):
    client.set(*OBJECT, "server", name)


def used(client):
    return client.call(OBJECT[0], "getUsedNtpServer")


def report(client, value, name="Timeservers", path="/net/connman/service/ethernet_1"):
    """What connman would signal; it has had its effect afterwards."""
    value = dbus.Array(value, signature="s") if type(value) is list else value
    emit(client, path, "sv", name, value)


def emit(client, path, signature, *arguments):
    signal = dbus.lowlevel.SignalMessage(path, "net.connman.Service", "PropertyChanged")
    signal.append(*arguments, signature=signature)
    client.connection.send_message(signal)
    client.ping()


@pytest.fixture
def ntp_device(new_device):
    """A running device whose user has set no server."""
    new_device.start(daemon=False)
    shell(new_device, f"sed -i /^NTPSERVER/d {VARIABLES}")
    new_device.start_daemon()
    return new_device


@pytest.fixture
def ntp(ntp_device):
    with BusClient(ntp_device) as client:
        yield client


def test_it_offers_its_members_in_order(client):
    assert client.members(OBJECT[0], "property") == ["server", "dhcpServer"]
    assert client.members(OBJECT[0], "method") == ["getUsedNtpServer", "setNtpServer"]
    assert client.members(OBJECT[0], "signal") == []


def test_the_networks_server_can_not_be_written(client):
    assert client.error_of_set(*OBJECT, "dhcpServer", "a") == "PropertyReadOnly"


# The four forms


def test_without_servers_the_device_itself_stands_in(ntp_device, ntp):
    assert servers(ntp_device) == [STAND_IN]
    assert used(ntp) == []
    assert platform_jobs(ntp_device, "ntp") == [STARTED]


def test_the_users_server_alone(ntp_device, ntp):
    set_server(ntp, "ntp.example")

    assert servers(ntp_device) == ["ntp.example"]
    assert used(ntp) == ["ntp.example"]


def test_the_networks_server_alone(ntp_device, ntp):
    report(ntp, ["10.0.0.1"])

    assert servers(ntp_device) == ["10.0.0.1"]
    assert used(ntp) == ["10.0.0.1"]
    assert ntp.get(*OBJECT, "dhcpServer") == "10.0.0.1"


@pytest.mark.parametrize("user_first", [True, False])
def test_both_servers_the_users_first(ntp_device, ntp, user_first):
    steps = [lambda: set_server(ntp, "ntp.example"), lambda: report(ntp, ["10.0.0.1"])]
    for step in steps if user_first else reversed(steps):
        step()

    assert servers(ntp_device) == ["ntp.example", "10.0.0.1"]
    assert used(ntp) == ["ntp.example", "10.0.0.1"]


# The user's server


def test_method_and_property_do_the_same(ntp_device, ntp):
    ntp.call(OBJECT[0], "setNtpServer", "first")
    assert ntp.get(*OBJECT, "server") == "first"
    assert servers(ntp_device) == ["first"]

    set_server(ntp, "second")
    assert used(ntp) == ["second"]
    assert servers(ntp_device) == ["second"]
    assert platform_jobs(ntp_device, "ntp") == [STARTED, STOPPED, STARTED, STOPPED, STARTED]


def test_the_users_server_survives_a_power_cycle_and_the_networks_does_not(own_device, own_client):
    set_server(own_client, "ntp.example")
    report(own_client, ["10.0.0.1"])
    assert servers(own_device) == ["ntp.example", "10.0.0.1"]

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert client.get_all(*OBJECT) == {"server": "ntp.example", "dhcpServer": ""}
    assert servers(own_device) == ["ntp.example"]


def test_the_variable_is_the_same_as_on_the_bus(ntp_device, ntp):
    set_server(ntp, "ntp.example")

    assert ntp.call("/system/variables", "getTrimmed", "NTPSERVER") == "ntp.example"
    assert "\nNTPSERVER=ntp.example\n" in "\n" + ntp_device.read(VARIABLES)


def test_a_quoted_variable_is_read_without_its_quotes(new_device):
    new_device.start(daemon=False)
    new_device.write(VARIABLES, 'NTPSERVER="ntp.example"\n')
    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get(*OBJECT, "server") == "ntp.example"
    assert servers(new_device) == ["ntp.example"]


def test_the_empty_text_clears_the_server_and_keeps_the_variable(ntp_device, ntp):
    set_server(ntp, "ntp.example")

    set_server(ntp, "")

    assert used(ntp) == []
    assert servers(ntp_device) == [STAND_IN]
    assert "\nNTPSERVER=\n" in "\n" + ntp_device.read(VARIABLES)


def test_the_same_server_again_runs_the_whole_sequence_again(ntp_device, ntp):
    set_server(ntp, "ntp.example")
    shell(ntp_device, "rm -r /var/run/ntp")

    set_server(ntp, "ntp.example")

    assert servers(ntp_device) == ["ntp.example"]
    assert platform_jobs(ntp_device, "ntp") == [STARTED, STOPPED, STARTED, STOPPED, STARTED]


def test_the_job_is_stopped_on_the_old_file_and_started_on_the_new_one(ntp_device, ntp):
    ntp_device.wait_for(lambda: init_jobs(ntp_device, "ntp"), what="the start that comes with the daemon's")
    script = f'#!/bin/sh\necho "$1 $(sed -n 4p {FILE} | cut -d " " -f 2)" >>/tmp/job\n'
    ntp_device.write("/etc/init-jobs/ntp", script, mode="755")

    set_server(ntp, "ntp.example")

    ntp_device.wait_for(
        lambda: shell(ntp_device, "cat /tmp/job") == f"stop {STAND_IN}\nstart ntp.example\n", what="the job to run"
    )


# What the network announces


@pytest.mark.parametrize("announced", [[], ["10.0.0.1", "10.0.0.2"], ["10.0.0.1", "10.0.0.2", "10.0.0.3"]])
def test_any_other_number_of_servers_than_one_is_none(ntp_device, ntp, announced):
    report(ntp, ["10.0.0.9"])
    assert servers(ntp_device) == ["10.0.0.9"]

    report(ntp, announced)

    assert servers(ntp_device) == [STAND_IN]
    assert used(ntp) == []


def test_the_latest_report_of_any_service_counts(ntp_device, ntp):
    report(ntp, ["10.0.0.1"])
    report(ntp, ["10.0.0.2"], path="/elsewhere")

    assert servers(ntp_device) == ["10.0.0.2"]
    assert platform_jobs(ntp_device, "ntp") == [STARTED, STOPPED, STARTED, STOPPED, STARTED]
    assert 'DHCP Timeserver: "10.0.0.2"' in ntp_device.daemon_log()


@pytest.mark.parametrize("name", ["", "timeservers", "Timeservers.Configuration", "Nameservers", "Timeservers "])
def test_other_properties_change_nothing(ntp_device, ntp, name):
    report(ntp, ["10.0.0.1"], name=name)

    assert servers(ntp_device) == [STAND_IN]
    assert platform_jobs(ntp_device, "ntp") == [STARTED]


STRUCTURE = dbus.Struct((["10.0.0.1"], {"a": dbus.Array([], signature="v")}), signature="asa{sv}")


@pytest.mark.parametrize(
    "value, server",
    [
        ("10.0.0.1", "10.0.0.1"),
        (dbus.Int32(5), "5"),
        (True, "true"),
        (dbus.ByteArray(b"10.0.0.1"), "10.0.0.1"),
        (STRUCTURE, ""),
        (dbus.Array([STRUCTURE, STRUCTURE], signature="(asa{sv})"), ""),
        (dbus.Array([dbus.Array(["10.0.0.1"], signature="s")], signature="as"), ""),
        (dbus.Dictionary({"a": dbus.String("10.0.0.1", variant_level=3)}, signature="sv"), ""),
        (dbus.String("10.0.0.1", variant_level=3), ""),
    ],
    ids=["text", "number", "truth", "bytes", "structure", "structures", "lists", "dictionary", "variants"],
)
def test_a_value_of_any_type_becomes_a_text_or_nothing(ntp_device, ntp, value, server):
    report(ntp, ["10.0.0.9"])

    report(ntp, value)

    assert ntp.get(*OBJECT, "dhcpServer") == server
    assert servers(ntp_device) == [server or STAND_IN]


def test_signals_with_other_arguments_are_not_heard(ntp_device, ntp):
    name, variant = "Timeservers", dbus.String("10.0.0.1", variant_level=1)
    wrong = {
        "": (),
        "s": (name,),
        "v": (variant,),
        "ss": (name, name),
        "sas": (name, [name]),
        "vs": (variant, name),
        "ov": ("/", variant),
        "svs": (name, variant, name),
        "sa{sv}": (name, {name: variant}),
        "(sv)": ((name, variant),),
        "ayv": (b"\0\xff", variant),
        "sh": (name, dbus.types.UnixFd(0)),
    }
    for signature, arguments in wrong.items():
        emit(ntp, "/net/connman/service/ethernet_1", signature, *arguments)

    assert ntp_device.daemon_status()["running"]
    assert servers(ntp_device) == [STAND_IN]
    assert platform_jobs(ntp_device, "ntp") == [STARTED]


# connman


def test_connman_is_told_to_leave_the_clock_alone_at_each_report_of_its_state(ntp_device, ntp):
    manual = ["TimeUpdates", "manual"]
    with ConnmanMock(ntp_device) as connman:
        connman.tell("State", "ready")
        ntp_device.wait_for(lambda: connman.calls("/", "SetProperty") == [manual], what="the first call")
        connman.tell("State", "idle")
        ntp_device.wait_for(lambda: connman.calls("/", "SetProperty") == [manual] * 2, what="the second call")

    assert platform_jobs(ntp_device, "ntp") == [STARTED]


def test_a_server_that_connman_reports_is_used(ntp_device, ntp):
    with ConnmanMock(ntp_device) as connman:
        connman.tell("Timeservers", dbus.Array(["192.168.10.1"], signature="s"))

        ntp_device.wait_for(lambda: servers(ntp_device) == ["192.168.10.1"], what="the server in the file")


# Obstacles


@pytest.mark.parametrize("obstacle", [f"mkdir {FILE}", f"mkfifo {FILE}", f"ln -s /dev/full {FILE}"])
def test_a_file_that_can_not_be_written_leaves_the_job_stopped(ntp_device, ntp, obstacle):
    shell(ntp_device, f"rm {FILE}; {obstacle}")

    set_server(ntp, "ntp.example")

    assert platform_jobs(ntp_device, "ntp") == [STARTED, STOPPED]
    assert used(ntp) == ["ntp.example"]


# The NTP daemon


def test_the_ntp_daemon_takes_every_form_of_the_file(ntp_device, ntp):
    def taken():
        """The servers of a real NTP daemon that is run on the file, with their poll interval, and what it said."""
        said = shell(
            ntp_device,
            f"ntpd -n -c {FILE} >/tmp/said 2>&1 & daemon=$!\n"
            "for try in $(seq 100); do\n"
            "    ntpq -n -c peers 127.0.0.1 2>/dev/null | tail -n +3 >/tmp/peers && [ -s /tmp/peers ] && break\n"
            "    sleep 0.1\n"
            "done\n"
            "kill $daemon; wait $daemon; cat /tmp/said",
        )
        rows = [line.split() for line in ntp_device.read("/tmp/peers").splitlines()]
        return [(row[0].lstrip("*#+-x~o"), row[5]) for row in rows], said

    forms = []
    for step in (
        lambda: None,
        lambda: report(ntp, ["10.0.0.1"]),
        lambda: set_server(ntp, "10.0.0.2"),
        lambda: report(ntp, []),
    ):
        step()
        peers, said = taken()
        assert f"parsing file: {FILE}" in said
        assert "syntax error" not in said
        forms.append(peers)

    first, second = ("10.0.0.2", "16"), ("10.0.0.1", "16")
    assert forms == [[(STAND_IN, "16")], [second], [first, second], [first]]


def test_the_ntp_daemon_would_complain_of_a_wrong_file(ntp_device):
    ntp_device.write("/tmp/wrong.conf", HEADING + "servers 10.0.0.1\n")

    said = shell(ntp_device, "timeout 2 ntpd -n -c /tmp/wrong.conf 2>&1 || true")

    assert "syntax error" in said
