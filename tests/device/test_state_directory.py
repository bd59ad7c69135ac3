"""A state directory is a device's alone."""

import os

import pytest
import simdevice


def old_device(directory):
    """What a version of before left behind."""
    for name in ("root", "srv", "work", "log"):
        (directory / name).mkdir(parents=True)
    for name in ("flash", "lock", "pid"):
        (directory / name).touch()
    return simdevice.SimulatedDevice(directory)


def test_a_directory_with_other_things_is_neither_used_nor_erased(tmp_path, stage):
    (tmp_path / "thesis.txt").write_text("years of work")
    device = simdevice.SimulatedDevice(tmp_path, stage)

    for use in (device.start, device.erase, lambda: device.write("/etc/x", "x"), lambda: device.run(["true"])):
        with pytest.raises(simdevice.DeviceError, match="holds other things than a device: name another directory"):
            use()

    assert os.listdir(tmp_path) == ["thesis.txt"]


def test_a_device_of_another_version_is_not_started_but_can_be_erased(tmp_path):
    device = old_device(tmp_path / "state")

    with pytest.raises(
        simdevice.DeviceError, match="holds a device of another version of this program: erase it first"
    ):
        device.start(daemon=False)

    device.erase()
    assert not (tmp_path / "state").exists()


def test_a_device_of_a_later_version_is_not_started(make_device):
    device = make_device()
    os.makedirs(device.state.directory)
    open(device.state.path("layout-4"), "w").close()

    with pytest.raises(simdevice.DeviceError, match="another version"):
        device.start(daemon=False)


def test_a_file_in_place_of_the_state_directory_is_named(tmp_path):
    (tmp_path / "state").write_text("")

    with pytest.raises(simdevice.DeviceError, match="state can't be a state directory: File exists"):
        simdevice.SimulatedDevice(tmp_path / "state").start(daemon=False)
