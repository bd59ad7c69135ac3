"""Cables between devices."""

import pytest
import simdevice


def reaches(device, address):
    """Whether the web server at an address answers this device."""
    script = "import socket, sys; socket.create_connection((sys.argv[1], 80), timeout=30)"
    return device.exec(["/usr/bin/python3", "-c", script, address]).returncode == 0


@pytest.fixture
def devices(make_device):
    made = [make_device(name) for name in ("one", "two", "three")]
    for device in made:
        device.start(daemon=False)
    return made


def test_two_devices_reach_each_other_over_a_cable_alone(devices):
    one, two, three = devices

    ours, theirs = one.connect(two)

    assert reaches(one, theirs)
    assert reaches(two, ours)
    assert not reaches(three, theirs)


def test_every_cable_has_a_network_of_its_own(devices):
    one, two, three = devices

    cables = [one.connect(two), two.connect(three), three.connect(one), one.connect(two)]

    assert len({address for cable in cables for address in cable}) == 8
    for (left, right), (ours, theirs) in zip(((one, two), (two, three), (three, one), (one, two)), cables):
        assert reaches(left, theirs)
        assert reaches(right, ours)


def test_a_cable_is_gone_with_either_device(devices):
    one, two, _ = devices
    _, theirs = one.connect(two)
    before = one.interfaces()

    two.power_cut()

    one.wait_for(lambda: one.interfaces() == before - {"ve-dut1"}, what="the cable to go")
    two.start(daemon=False)
    assert one.connect(two)[1] == theirs
    assert reaches(one, theirs)


def test_a_device_is_not_joined_to_itself(devices):
    with pytest.raises(simdevice.DeviceError, match="itself"):
        devices[0].connect(devices[0])


def test_a_device_that_does_not_run_is_not_joined(devices, make_device):
    with pytest.raises(simdevice.DeviceError, match="does not run"):
        devices[0].connect(make_device("four"))
