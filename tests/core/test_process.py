"""The daemon as a process: one instance, no hang without a bus, signals, silence when idle, what children inherit."""

import concurrent.futures
import signal
import subprocess
import time

import pytest
from busclient import SERVICE, BusClient
from insidetools import SHADOWED_PATH, daemon_children, has_thread_sanitizer, sanitizer_environment, shadow, shell
from insidetools import start_shadowed

DAEMON = "/usr/sbin/nodekeep"
NO_NAME = "Registering dbus connection failed."


def traces(device):
    """All that a start of the daemon would change."""
    listing = "stat -c '%n %i %s %y %z' /run/bareboxenv /run/bareboxenv/* /etc/hostname"
    return shell(device, f"{listing}; md5sum /dev/mtdblock1 /run/bareboxenv/*"), device.platform_log()


def test_a_second_instance_ends_before_it_touches_anything(device, client):
    before = traces(device)

    second = device.exec([DAEMON], timeout=60)

    assert second.returncode == -signal.SIGABRT
    assert NO_NAME in second.stderr
    assert traces(device) == before
    assert client.owner_pid() == device.daemon_status()["pid"]


def test_arguments_are_not_looked_at(device):
    second = device.exec([DAEMON, "--help", "-x", "--version", ""], timeout=60)

    assert second.returncode == -signal.SIGABRT
    assert NO_NAME in second.stderr
    assert second.stdout == ""


def test_without_a_bus_it_ends_and_does_not_hang(new_device):
    alone = new_device.run([DAEMON], ephemeral=True, bus=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    assert alone.returncode == 128 + signal.SIGABRT
    assert NO_NAME in alone.stderr.decode()


@pytest.mark.slow
def test_without_a_thread_for_its_bus_it_ends_at_its_time_limit(new_device):
    new_device.start(daemon=False)
    starved = ["strace", "-f", "-o", "/dev/null", "-e", "inject=clone,clone3:error=ENOMEM", DAEMON]

    ended = new_device.exec(starved, env=sanitizer_environment(ASAN_OPTIONS="detect_leaks=0"), timeout=120)

    assert ended.returncode == -signal.SIGALRM
    with BusClient(new_device) as client:
        assert not client.connection.name_has_owner(SERVICE)


@pytest.mark.parametrize("address", ["unix:path=/run/no-bus-here", "unix:path=/etc/hostname", "nonsense", ""])
def test_with_a_wrong_bus_address_it_ends_and_touches_nothing(device, address):
    before = traces(device)

    ended = device.exec([DAEMON], env={"DBUS_SYSTEM_BUS_ADDRESS": address}, timeout=60)

    assert ended.returncode == -signal.SIGABRT
    assert NO_NAME in ended.stderr
    assert traces(device) == before


@pytest.mark.ends_daemon
def test_without_its_bus_it_ends_with_a_line_and_comes_up_on_the_next_one(new_device):
    # What it keeps to its end is no leak.
    new_device.start(env=sanitizer_environment(ASAN_OPTIONS="detect_leaks=0"))
    shell(new_device, "kill -KILL $(pgrep -x dbus-daemon)")

    new_device.wait_for(lambda: not new_device.daemon_status()["running"], what="the daemon's end")
    assert new_device.daemon_status()["status"] == 1
    assert new_device.daemon_log().count("The connection to the system bus is lost.") == 1

    shell(new_device, "rm /run/dbus/system_bus_socket; dbus-daemon --system --fork --nopidfile")
    new_device.start_daemon()
    with BusClient(new_device) as client:
        assert client.children("/loader") == {"boot", "config", "system"}


@pytest.mark.ends_daemon
@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGSEGV])
def test_signals_take_their_default_action(new_device, number):
    left_alone = {name: "handle_segv=0" for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS")}
    new_device.start(env=sanitizer_environment(**left_alone))

    shell(new_device, f"kill -{number.value} {new_device.daemon_status()['pid']}")

    new_device.wait_for(lambda: not new_device.daemon_status()["running"], what="the daemon's end")
    assert new_device.daemon_status()["status"] == -number
    assert "Got signal" not in new_device.daemon_log()


def test_it_starts_again_after_it_was_killed(own_device):
    shell(own_device, f"kill -KILL {own_device.daemon_status()['pid']}")
    own_device.wait_for(lambda: not own_device.daemon_status()["running"], what="the daemon's end")

    own_device.start_daemon()

    with BusClient(own_device) as client:
        assert client.children("/loader") == {"boot", "config", "system"}


def test_it_does_not_wake_up_when_there_is_nothing_to_do(device):
    if has_thread_sanitizer(device):
        pytest.skip("ThreadSanitizer wakes up")
    device.wait_for(lambda: quiet_for(device, 2), limit=30, what="the daemon to come to rest and stay there")


def quiet_for(device, seconds):
    before = wake_ups(device)
    time.sleep(seconds)
    return wake_ups(device) == before


def wake_ups(device):
    """How often each thread of the daemon went to sleep so far."""
    status = shell(device, f"grep ^voluntary_ctxt /proc/{device.daemon_status()['pid']}/task/*/status")
    return sorted(status.splitlines())


def test_a_call_that_comes_before_the_daemon_is_ready_is_answered_when_it_is(new_device):
    new_device.start(daemon=False)
    shell(new_device, "mkfifo /run/go")
    shadow(new_device, "bareboxenv", 'read line </run/go; exec /usr/sbin/bareboxenv "$@"')
    start_shadowed(new_device, wait=False)

    with BusClient(new_device) as client, concurrent.futures.ThreadPoolExecutor() as pool:
        client.wait_owned()
        # Nothing of this object exists before the environment is there, so no early answer could be right.
        answer = pool.submit(client.call, "/system/variables", "getTrimmed", "TIMEZONE")
        new_device.wait_for(lambda: daemon_children(new_device), what="the daemon to wait for its tool")
        assert not answer.done()
        shell(new_device, "echo >/run/go")

        assert answer.result() == "Europe/Berlin"


def test_children_inherit_nothing_but_the_standard_streams(new_device):
    new_device.start(daemon=False)
    # The fourth descriptor is the listed directory itself.
    shadow(new_device, "bareboxenv", 'ls /proc/self/fd >/run/descriptors; exec /usr/sbin/bareboxenv "$@"')

    start_shadowed(new_device)

    assert new_device.read("/run/descriptors").split() == ["0", "1", "2", "3"]


@pytest.mark.parametrize("given", [{}, {"QT_NO_GLIB": "1"}], ids=["as usual", "with a setting of Qt"])
def test_children_find_the_environment_that_the_daemon_was_given(new_device, given):
    new_device.start(daemon=False)
    shadow(new_device, "bareboxenv", 'cat /proc/$$/environ >/run/environment; exec /usr/sbin/bareboxenv "$@"')

    new_device.start_daemon(env={"PATH": SHADOWED_PATH, **given})

    own = new_device.read(f"/proc/{new_device.daemon_status()['pid']}/environ")
    assert sorted(new_device.read("/run/environment").split("\0")) == sorted(own.split("\0"))


def test_tools_leave_no_zombies(device, client):
    client.call("/loader", "saveEnv")

    assert daemon_children(device) == []
