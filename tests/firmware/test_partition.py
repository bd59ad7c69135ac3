"""The data partition comes and goes: real messages of the device manager reach the unmodified daemon."""

import pytest

from firmwaredevice import FirmwareDevice

SCANNED = "/srv available scanning firmware."


@pytest.fixture
def late(new_device):
    """A device whose data partition holds a firmware and is not mounted yet."""
    new_device.start(daemon=False)
    for file in ("linuximage", "linuximage.md5", "root.ubi", "root.ubi.md5"):
        new_device.write(f"/srv/fwupdate/fwupdate4/{file}", "x")
    new_device.write("/srv/fwupdate/fwupdate4/control", "VERSION=4.4\nMIN_UPDATER_VERSION=3\n")
    new_device.unmount_srv()
    new_device.start_daemon()
    return new_device


def timers_run(device):
    """Whether the daemon wakes up by itself, as it does when it tests for the mounted partition."""
    count = "grep ^voluntary /proc/$(pidof nodekeep)/status"
    script = f'a=$({count}); sleep 1.2; b=$({count}); [ "$a" != "$b" ]'
    return device.exec(["sh", "-c", script]).returncode == 0


def await_rest(device):
    """Returns when the daemon has stopped to wake up, or has not begun. After much work it does so once."""
    device.wait_for(lambda: not timers_run(device), limit=10, what="the daemon to be at rest")


def test_a_partition_that_is_mounted_late_is_scanned(late: FirmwareDevice):
    assert late.records() == {}

    late.mount_srv(told=True)

    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the scan")
    assert late.exists("/srv/fwupdate/fwupdate4")


def test_the_daemon_waits_for_the_mount_after_the_device_has_come(late: FirmwareDevice):
    late.tell_udev("add")
    assert timers_run(late)
    assert late.records() == {}

    late.mount_srv()

    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the scan")
    await_rest(late)


@pytest.mark.parametrize(
    ("action", "subsystem", "name"),
    [
        ("add", "bdi", "ubifs_0_0"),
        ("add", "bdi", "ubifs_1_22"),
        ("add", "block", "ubifs_1_2"),
        ("change", "bdi", "ubifs_1_2"),
        ("move", "bdi", "ubifs_1_2"),
    ],
)
def test_other_devices_and_actions_do_not_count(late: FirmwareDevice, action, subsystem, name):
    late.mount_srv()

    late.tell_udev(action, subsystem, name)

    await_rest(late)
    assert SCANNED not in late.daemon_log()
    assert late.records() == {}


def test_a_mount_point_deeper_below_srv_does_not_count(late: FirmwareDevice):
    late.exec(["sh", "-c", "mkdir -p /srv/deeper && mount -t tmpfs none /srv/deeper"], check=True)

    late.tell_udev("add")

    assert timers_run(late)
    assert SCANNED not in late.daemon_log()


def test_the_records_go_with_the_partition_and_come_back(late: FirmwareDevice):
    late.mount_srv(told=True)
    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the scan")

    late.tell_udev("remove", "bdi", "ubifs_0_0")
    assert list(late.records()) == ["fwupdate4"]

    late.tell_udev("remove")
    late.wait_for(lambda: late.records() == {}, what="the records to go")
    assert "/loader/fwupdate4" not in late.tree()
    assert late.exists("/srv/fwupdate/fwupdate4/control")

    late.tell_udev("add")
    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the records to come back")


def test_numbers_go_on_after_the_records_have_gone(late: FirmwareDevice, make_package):
    late.mount_srv(told=True)
    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the scan")
    late.tell_udev("remove")
    late.wait_for(lambda: late.records() == {}, what="the records to go")
    late.keep_uploads()

    late.upload(make_package())

    late.wait_for(lambda: list(late.records()) == ["fwupdate5"], 30, "the next number")


def test_numbers_begin_at_zero_where_the_partition_was_never_mounted(late: FirmwareDevice, make_package):
    late.keep_uploads()

    late.upload(make_package())
    late.wait_for(lambda: list(late.records()) == ["fwupdate0"], 30, "the first number")
    late.upload(make_package())

    late.wait_for(lambda: list(late.records()) == ["fwupdate0", "fwupdate1"], 30, "the next number")


def test_each_mount_adds_a_worker_and_each_worker_its_records(late: FirmwareDevice):
    late.mount_srv(told=True)
    late.wait_for(lambda: late.listed() == ["fwupdate4"], what="the scan")

    late.tell_udev("add")

    late.wait_for(lambda: late.listed() == ["fwupdate4"] * 3, what="both workers' records")


def test_malformed_messages_of_the_device_manager_are_dropped(late: FirmwareDevice):
    script = """
import contextlib, os, socket
s = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 15)
s.bind((0, 0))
for n in range(300):
    with contextlib.suppress(OSError):  # the kernel's filter took it from everybody
        s.sendto((b"libudev\\0\\xfe\\xed\\xca\\xfe" if n % 2 else b"") + os.urandom(n * 7), (0, 2))
"""
    late.exec(["/usr/bin/python3", "-c", script], check=True)

    assert late.records() == {}
    late.mount_srv(told=True)
    late.wait_for(lambda: list(late.records()) == ["fwupdate4"], what="the scan")


def test_the_directories_of_the_plc_runtime_are_made_on_the_mounted_partition(late: FirmwareDevice):
    late.mount_srv()
    late.exec(["mkdir", "/srv/codesys"], check=True)

    late.tell_udev("add")

    late.wait_for(lambda: late.exists("/srv/codesys/PlcLogic"), what="the directories")
    assert late.exists("/srv/codesys/visu")
