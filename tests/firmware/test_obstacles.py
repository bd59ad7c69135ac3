"""Intake when the device fails: full, read-only and vanishing partitions, tools that are missing or killed."""

import pytest

from firmwaredevice import NOT_UNPACKED, TAKEN, FirmwareDevice
from insidetools import SHADOWS, daemon_children, shadow

NOT_FOUND_IN = [1, (60, 5), 2, (10, 1), 0]


def descriptors(device):
    return device.exec(["sh", "-c", "ls /proc/$(pidof nodekeep)/fd | wc -l"]).stdout.strip()


def take_the_next(device, package, before):
    device.upload(package)
    device.wait_told(before + TAKEN)
    assert len(device.records()) == 1


def mount_over_srv(device, options):
    """Another data partition in the place of the device's own, which the daemon does not notice."""
    device.exec(["mount", "-t", "tmpfs", "-o", options, "small", "/srv"], check=True)


def test_a_full_partition_refuses_the_package(device: FirmwareDevice, make_package):
    mount_over_srv(device, "size=300k")

    device.upload(make_package())

    device.wait_told(NOT_UNPACKED)
    assert device.records() == {}
    device.exec(["umount", "/srv"], check=True)
    take_the_next(device, make_package(), NOT_UNPACKED)


def test_a_read_only_partition_refuses_the_package(device: FirmwareDevice, make_package):
    mount_over_srv(device, "ro")

    device.upload(make_package())

    device.wait_told(NOT_UNPACKED)
    assert device.records() == {}
    device.exec(["umount", "/srv"], check=True)
    take_the_next(device, make_package(), NOT_UNPACKED)


def test_a_partition_that_goes_away_while_tar_runs(device: FirmwareDevice, make_package):
    mount_over_srv(device, "size=16m")
    shadow(device, "tar", 'while [ ! -e /tmp/go ]; do sleep 0.05; done; exec /usr/bin/tar "$@"')
    device.start_with_shadows()
    device.upload(make_package())
    device.wait_for(lambda: device.told() == [1], what="the package to be seen")

    device.exec(["sh", "-c", "umount /srv && rm -rf /srv/fwupdate && touch /tmp/go"], check=True)

    device.wait_told(NOT_UNPACKED)
    assert device.records() == {}
    take_the_next(device, make_package(), NOT_UNPACKED)


@pytest.mark.parametrize(
    ("script", "told"),
    [
        pytest.param("exit 2", NOT_UNPACKED, id="fails"),
        pytest.param("kill -9 $$", NOT_UNPACKED, id="is killed"),
        pytest.param("kill -11 $$", NOT_UNPACKED, id="crashes"),
        pytest.param("exit 0", NOT_FOUND_IN, id="does nothing"),
        pytest.param("yes | head -c 3000000; yes | head -c 3000000 >&2; exit 1", NOT_UNPACKED, id="talks a lot"),
    ],
)
def test_a_tar_that_fails_in_any_way(device: FirmwareDevice, make_package, script, told):
    shadow(device, "tar", script)
    device.start_with_shadows()
    device.upload(make_package())
    device.wait_told(told)
    assert device.records() == {}
    assert daemon_children(device) == []

    device.exec(["rm", f"{SHADOWS}/tar"], check=True)
    take_the_next(device, make_package(), told)


@pytest.mark.parametrize("script", ["exit 1", "kill -9 $$", "echo; echo", "yes | head -c 3000000"])
def test_an_md5sum_that_fails_refuses_the_package(device: FirmwareDevice, make_package, script):
    shadow(device, "md5sum", script)
    device.start_with_shadows()
    device.upload(make_package())
    device.wait_told(NOT_FOUND_IN)
    # It is told first.
    device.wait_for(lambda: device.firmware_directories() == [], what="the firmware to be removed")

    device.exec(["rm", f"{SHADOWS}/md5sum"], check=True)
    take_the_next(device, make_package(), NOT_FOUND_IN)


def test_missing_tools_are_failures_and_nothing_more(device: FirmwareDevice, make_package):
    device.start_without("tar", "gzip", "md5sum")
    upload = device.upload(make_package())
    device.wait_told(NOT_UNPACKED)
    assert not device.exists(upload)

    device.exec(["ln", "-s", "/usr/bin/tar", "/usr/bin/gzip", "/opt/few/"], check=True)
    device.upload(make_package())
    device.wait_told(NOT_UNPACKED + NOT_FOUND_IN)

    device.exec(["ln", "-s", "/usr/bin/md5sum", "/opt/few/"], check=True)
    take_the_next(device, make_package(), NOT_UNPACKED + NOT_FOUND_IN)


def test_refused_packages_leak_no_descriptor_and_no_process(device: FirmwareDevice, make_package):
    package = make_package("--broken", "truncated")
    device.upload(package)
    device.wait_told(NOT_UNPACKED)
    before = descriptors(device)

    for count in range(2, 22):
        device.upload(package)
        device.wait_told(NOT_UNPACKED * count)

    assert descriptors(device) == before
    assert daemon_children(device) == []
