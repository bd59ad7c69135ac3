"""The device's host name: the kernel's, the stored one, and who is told of a change."""

import pytest
from busclient import BUS, BusClient
from insidetools import init_jobs, platform_calls, shell

SYSTEM = "local.System"
KERNEL = "/proc/sys/kernel/hostname"
FIRST = "node-4711"

RESTART = [[call, job, [], False] for job in ("avahi_2ddaemon", "nmbd") for call in ("Stop", "Start")]


def hostname(client):
    return client.get("/system", SYSTEM, "hostname")


def set_hostname(client, name):
    client.set("/system", SYSTEM, "hostname", name)


def kernel_name(device):
    return device.read(KERNEL).removesuffix("\n")


def events(device, *names):
    """The arguments of the events of these names, in order."""
    return platform_calls(device, *(f"SystemEvent.{name}" for name in names))


def wait_announced(device, name):
    device.wait_for(
        lambda: events(device, "deviceNameChange")[-1:] == [[name, "/"]], what=f"the change to {name} to be announced"
    )


def assert_nothing_happened(device, client, stored=f"{FIRST}\n"):
    for _ in range(5):  # whatever the daemon still has to do, it does between these
        client.ping()
    assert events(device, "deviceNameChange") == []
    assert init_jobs(device) == []
    assert kernel_name(device) == FIRST
    assert device.read("/etc/hostname") == stored


# Reading


def test_the_property_is_the_kernels_name(own_device, own_client):
    assert hostname(own_client) == FIRST

    shell(own_device, f"echo another >{KERNEL}")

    assert hostname(own_client) == "another"


def test_an_empty_kernel_name_reads_empty(own_device, own_client):
    shell(own_device, f"echo >{KERNEL}")

    assert hostname(own_client) == ""


def test_a_kernel_name_that_can_not_be_read_is_the_default(own_device, own_client):
    shell(own_device, "mount -t tmpfs none /proc/sys/kernel")

    assert hostname(own_client) == "qmz"


# Writing


@pytest.mark.parametrize("name", ["a", "7", "Node-1", "a--b", "0123456789", "a-b-c-D-E-9"])
def test_a_valid_name_goes_to_the_file_and_the_kernel_and_is_announced(own_device, own_client, name):
    set_hostname(own_client, name)

    assert hostname(own_client) == name
    assert kernel_name(own_device) == name
    assert own_device.read("/etc/hostname") == f"{name}\n"
    wait_announced(own_device, name)
    assert events(own_device, "hostnameInvalid") == []


def test_the_name_services_are_restarted_before_the_event(own_device, own_client):
    set_hostname(own_client, "other")
    wait_announced(own_device, "other")

    calls = [line["call"] for line in own_device.platform_log()]
    assert calls.index("Upstart.restartNameservices") < calls.index("SystemEvent.deviceNameChange")
    own_device.wait_for(lambda: len(init_jobs(own_device)) >= 4, what="the name services to be restarted")
    restarted = init_jobs(own_device)
    assert restarted[:4] == RESTART
    assert not any(wait for *_, wait in restarted)


@pytest.mark.parametrize(
    "name",
    ["", "-", "-a", "a-", "a_b", "a.b", "a b", " a", "a\n", "\na", "ä", "a\u0661", "a/b", "$(reboot)", "a" * 70 + "-"],
)
def test_an_invalid_name_is_reported_and_changes_nothing(own_device, own_client, name):
    set_hostname(own_client, name)

    assert events(own_device, "hostnameInvalid") == [[name, FIRST, "/system"]]
    assert hostname(own_client) == FIRST
    assert_nothing_happened(own_device, own_client)


def test_the_current_name_changes_nothing_though_the_file_differs(own_device, own_client):
    own_device.write("/etc/hostname", "differs\n")

    set_hostname(own_client, FIRST)

    assert_nothing_happened(own_device, own_client, stored="differs\n")
    assert events(own_device, "hostnameInvalid") == []


def test_the_current_name_is_not_refused_even_if_it_is_invalid(own_device, own_client):
    shell(own_device, f"echo in_valid >{KERNEL}")
    assert hostname(own_client) == "in_valid"

    set_hostname(own_client, "in_valid")

    assert events(own_device, "hostnameInvalid") == []
    assert own_device.read("/etc/hostname") == f"{FIRST}\n"


def test_a_name_may_be_longer_than_the_kernel_takes(own_device, own_client):
    set_hostname(own_client, "a" * 100)

    assert own_device.read("/etc/hostname") == "a" * 100 + "\n"
    assert hostname(own_client) == "a" * 64


def test_a_megabyte_is_refused_in_good_time(own_device, own_client):
    set_hostname(own_client, "a" * 1_000_000 + "_")

    assert len(events(own_device, "hostnameInvalid")) == 1


def test_the_kernel_gets_the_name_though_the_file_can_not_be_written(own_device, own_client):
    shell(own_device, "rm /etc/hostname && mkdir /etc/hostname")

    set_hostname(own_client, "other")

    assert kernel_name(own_device) == "other"
    wait_announced(own_device, "other")


def test_the_name_survives_a_power_cycle(own_device, own_client):
    set_hostname(own_client, "other")

    own_device.power_cycle()

    assert kernel_name(own_device) == "other"
    with BusClient(own_device) as client:
        assert hostname(client) == "other"


# Changes by others


def test_a_change_by_another_program_is_announced(own_device):
    shell(own_device, f"echo another >{KERNEL}")

    wait_announced(own_device, "another")
    own_device.wait_for(lambda: len(init_jobs(own_device)) >= 4, what="the name services to be restarted")
    assert own_device.read("/etc/hostname") == f"{FIRST}\n"


def test_every_later_change_is_announced_too(own_device, own_client):
    for name in ("one", "two", "three"):
        shell(own_device, f"echo {name} >{KERNEL}")
        wait_announced(own_device, name)
    set_hostname(own_client, "four")
    wait_announced(own_device, "four")


def test_a_change_is_announced_without_the_init_system(own_device, own_client):
    ask = (BUS, "/org/freedesktop/DBus", BUS, "GetConnectionUnixProcessID", "s", ("com.ubuntu.Upstart",))
    shell(own_device, f"kill {own_client.connection.call_blocking(*ask)}")

    set_hostname(own_client, "other")

    wait_announced(own_device, "other")


# The name at start


def restart_with(device, script):
    """A client of the daemon after it was started on what the script has prepared."""
    device.start(daemon=False)
    shell(device, script)
    device.start_daemon()
    return BusClient(device)


def test_a_missing_file_is_not_made_anew(new_device):
    with restart_with(new_device, "rm /etc/hostname") as client:
        set_hostname(client, FIRST)  # the name it has, from the kernel

        assert hostname(client) == FIRST
    assert not new_device.exists("/etc/hostname")
    assert events(new_device, "hostnameInvalid", "deviceNameChange") == []


def test_without_any_name_the_device_gets_the_default(new_device):
    with restart_with(new_device, f"rm /etc/hostname; echo >{KERNEL}") as client:
        assert hostname(client) == "qmz"
    assert new_device.read("/etc/hostname") == "qmz\n"
    assert kernel_name(new_device) == "qmz"


def test_an_empty_file_is_an_empty_name_until_the_next_look_at_the_kernel(new_device):
    with restart_with(new_device, ": >/etc/hostname") as client:
        set_hostname(client, "")  # the name it has
        assert events(new_device, "hostnameInvalid") == []

        assert hostname(client) == FIRST
        set_hostname(client, "")
        assert events(new_device, "hostnameInvalid") == [["", FIRST, "/system"]]
    assert new_device.read("/etc/hostname") == ""


@pytest.mark.parametrize("content", ["stored\\0junk\\n", "  stored \\t\\n\\n", "stored"])
def test_the_stored_name_ends_at_a_nul_and_has_no_outer_blanks(new_device, content):
    with restart_with(new_device, f"printf '{content}' >/etc/hostname") as client:
        set_hostname(client, "stored")  # the name it has

        assert hostname(client) == FIRST
    assert events(new_device, "hostnameInvalid", "deviceNameChange") == []


def test_a_stored_name_is_taken_as_it_stands(new_device):
    with restart_with(new_device, "echo in_valid >/etc/hostname") as client:
        set_hostname(client, "still_invalid")

    assert events(new_device, "hostnameInvalid") == [["still_invalid", "in_valid", "/system"]]
    assert kernel_name(new_device) == FIRST
