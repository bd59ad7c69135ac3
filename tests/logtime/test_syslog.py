"""The log daemon's settings on the bus, in the file, and in the real log daemon that is restarted with them."""

import contextlib
import select
import subprocess

import pytest
from busclient import BusClient
from insidetools import end_service, init_jobs, shell

FILE = "/etc/syslog.conf"
HEADING = "#non-standard config file used for syslogd.conf in upstart, do not edit use nodekeep/system/syslog\n"
OBJECT = ("/system/syslog", "local.LogConfig")
PROPERTIES = ["log_local", "remote_log_target", "log_size_kb"]
METHODS = ["getLocal", "setLocal", "getRemote", "setRemote", "getLogFileSize", "setLogFileSize"]
RESTART = ["Restart", "syslogd", [], False]
DEFAULTS = {"log_local": True, "remote_log_target": "", "log_size_kb": 200}

# Prints the datagrams that come to a port of loopback, each with a line feed.
LISTENER = """
import socket, sys
listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
listener.bind(("127.0.0.1", 5514))
print("listening", flush=True)
while True:
    print(listener.recv(65536).decode(), flush=True)
"""


def settings(client):
    return client.get_all(*OBJECT)


def started_on(device, text):
    """A client of the daemon, started on this file; None for no file."""
    device.start(daemon=False)
    if text is None:
        shell(device, f"rm -f {FILE}")
    else:
        device.write(FILE, text)
    device.start_daemon()
    return BusClient(device)


# Settings and file


def test_it_offers_its_members_in_order(client):
    assert client.members(OBJECT[0], "property") == PROPERTIES
    assert client.members(OBJECT[0], "method") == METHODS
    assert client.members(OBJECT[0], "signal") == []


def test_without_a_file_the_defaults_hold_and_nothing_is_done(new_device):
    with started_on(new_device, None) as client:
        assert settings(client) == DEFAULTS
    assert not new_device.exists(FILE)
    assert init_jobs(new_device, "syslogd") == []


def test_a_file_is_taken_over_and_left_as_it_is(new_device):
    text = '# mine\nLOCAL=\nREMOTE="-R loghost:514"\r\nSIZE="-s 64"'

    with started_on(new_device, text) as client:
        assert settings(client) == {"log_local": False, "remote_log_target": "loghost:514", "log_size_kb": 64}
    assert new_device.read_bytes(FILE) == text.encode()
    assert init_jobs(new_device, "syslogd") == []


def test_every_property_goes_to_the_file_and_restarts_the_log_daemon(new_device):
    with started_on(new_device, None) as client:
        client.set(*OBJECT, "remote_log_target", "loghost")
        assert new_device.read(FILE) == HEADING + 'SIZE="-s 200"\nREMOTE="-R loghost"\nLOCAL=-L\n'
        client.set(*OBJECT, "log_local", False)
        client.set(*OBJECT, "log_size_kb", -5)

        assert settings(client) == {"log_local": False, "remote_log_target": "loghost", "log_size_kb": -5}
    assert new_device.read(FILE) == HEADING + 'SIZE="-s -5"\nREMOTE="-R loghost"\nLOCAL=\n'
    assert init_jobs(new_device, "syslogd") == [RESTART] * 3


def test_every_method_does_the_same(new_device):
    with started_on(new_device, None) as client:
        client.call(OBJECT[0], "setRemote", "loghost")
        client.call(OBJECT[0], "setLocal", False)
        client.call(OBJECT[0], "setLogFileSize", 0)

        assert client.call(OBJECT[0], "getRemote") == "loghost"
        assert client.call(OBJECT[0], "getLocal") == False  # noqa: E712
        assert client.call(OBJECT[0], "getLogFileSize") == 0
    assert new_device.read(FILE) == HEADING + 'SIZE="-s 0"\nREMOTE="-R loghost"\nLOCAL=\n'
    assert init_jobs(new_device, "syslogd") == [RESTART] * 3


def test_the_present_value_is_written_and_applied_again(new_device):
    with started_on(new_device, None) as client:
        client.set(*OBJECT, "log_size_kb", 200)

    assert new_device.read(FILE) == HEADING + 'SIZE="-s 200"\nLOCAL=-L\n'
    assert init_jobs(new_device, "syslogd") == [RESTART]


def test_the_settings_survive_a_power_cycle(own_device, own_client):
    changed = {"log_local": False, "remote_log_target": "192.168.1.5:514", "log_size_kb": 1000}
    for name, value in changed.items():
        own_client.set(*OBJECT, name, value)

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert settings(client) == changed


def test_a_target_with_a_divider_is_lost_at_the_next_start(own_device, own_client):
    own_client.set(*OBJECT, "remote_log_target", "a=b")
    own_client.set(*OBJECT, "log_size_kb", 64)
    assert settings(own_client)["remote_log_target"] == "a=b"

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert settings(client) == {**DEFAULTS, "log_size_kb": 64}


def test_without_the_init_system_a_setting_is_written_and_answered(new_device):
    with started_on(new_device, None) as client:
        end_service(new_device, client, "com.ubuntu.Upstart")

        client.set(*OBJECT, "log_local", False)

        assert settings(client)["log_local"] == False  # noqa: E712
    assert new_device.read(FILE) == HEADING + 'SIZE="-s 200"\nLOCAL=\n'
    assert "ServiceUnknown" in new_device.daemon_log()


@pytest.mark.parametrize("obstacle", [f"mkdir {FILE}", f"mkfifo {FILE}", f"ln -s /dev/full {FILE}"])
def test_a_file_that_can_not_be_written_changes_the_memory_alone(new_device, obstacle):
    with started_on(new_device, None) as client:
        shell(new_device, obstacle)

        client.set(*OBJECT, "log_size_kb", 64)

        assert settings(client) == {**DEFAULTS, "log_size_kb": 64}
    assert init_jobs(new_device, "syslogd") == [RESTART]


# The log daemon


@contextlib.contextmanager
def listener(device):
    """Yields a function that tells what has come to port 5514 so far."""
    command = [*device.entrance(), "/usr/bin/python3", "-c", LISTENER]
    with subprocess.Popen(command, cwd="/", stdout=subprocess.PIPE, bufsize=0) as process:
        try:
            assert process.stdout.readline() == b"listening\n"
            received = bytearray()

            def lines():
                while select.select([process.stdout], [], [], 0)[0] and (part := process.stdout.read(65536)):
                    received.extend(part)
                return received.decode()

            yield lines
        finally:
            process.kill()


def log_daemons(device):
    return device.exec(["pgrep", "-f", "^busybox syslogd -n"]).stdout.split()


def wait_running_with(device, *expected):
    """A restart is not waited for by the caller, and may find the file of a later change: change and wait in turn."""

    def runs():
        daemons = log_daemons(device)
        if len(daemons) != 1 or device.exec(["grep", "/dev/log", "/proc/net/unix"]).returncode:
            return False
        return device.exec(["cat", f"/proc/{daemons[0]}/cmdline"]).stdout.split("\0")[3:-1] == [*expected]

    device.wait_for(runs, what=f"the log daemon with {expected}")


def size_options(device, size):
    """A limit is an option only where this device's log daemon knows one."""
    usage = shell(device, "busybox syslogd --help 2>&1")
    return ["-s", str(size)] if "\t-s " in usage else []


def kept(device, line):
    return line in shell(device, "cat /var/log/messages 2>/dev/null || true")


def test_the_log_daemon_is_restarted_with_the_settings(new_device):
    with started_on(new_device, None) as client:
        assert log_daemons(new_device) == []

        client.set(*OBJECT, "log_size_kb", 64)
        wait_running_with(new_device, *size_options(new_device, 64), "-L")
        first = log_daemons(new_device)

        client.set(*OBJECT, "log_size_kb", 64)
        new_device.wait_for(lambda: log_daemons(new_device) not in ([], first), what="another log daemon")
        wait_running_with(new_device, *size_options(new_device, 64), "-L")


def test_lines_are_kept_on_the_device(new_device):
    with started_on(new_device, None) as client:
        client.set(*OBJECT, "log_local", True)
        wait_running_with(new_device, *size_options(new_device, 200), "-L")

    shell(new_device, "logger -t test kept-here")

    new_device.wait_for(lambda: kept(new_device, "test: kept-here"), what="the line in the log")


def test_lines_are_kept_and_sent(new_device):
    with started_on(new_device, None) as client, listener(new_device) as lines:
        client.set(*OBJECT, "remote_log_target", "127.0.0.1:5514")
        wait_running_with(new_device, *size_options(new_device, 200), "-R", "127.0.0.1:5514", "-L")

        shell(new_device, "logger -t test both-places")

        new_device.wait_for(lambda: "test: both-places" in lines(), what="the line at the listener")
        new_device.wait_for(lambda: kept(new_device, "test: both-places"), what="the line in the log")


def test_lines_are_sent_and_not_kept(new_device):
    with started_on(new_device, None) as client, listener(new_device) as lines:
        client.set(*OBJECT, "log_local", False)
        wait_running_with(new_device, *size_options(new_device, 200))
        client.set(*OBJECT, "remote_log_target", "127.0.0.1:5514")
        wait_running_with(new_device, *size_options(new_device, 200), "-R", "127.0.0.1:5514")

        shell(new_device, "logger -t test only-there")

        new_device.wait_for(lambda: "test: only-there" in lines(), what="the line at the listener")
        assert not kept(new_device, "only-there")
