import os
import shutil
import sys

import pytest

HERE = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(PROJECT, "device"))

import simdevice  # noqa: E402


@pytest.fixture(scope="session")
def stage(tmp_path_factory):
    """An install tree whose daemon is fake_nodekeep.py: the device's own tests need no build."""
    stage = tmp_path_factory.mktemp("stage")
    program = stage / "usr/sbin/nodekeep"
    program.parent.mkdir(parents=True)
    shutil.copy(os.path.join(HERE, "fake_nodekeep.py"), program)
    program.chmod(0o755)
    policy = stage / "usr/share/dbus-1/system.d"
    policy.mkdir(parents=True)
    shutil.copy(os.path.join(PROJECT, "packaging/com.ozt.nodekeep.conf"), policy)
    return stage


@pytest.fixture
def make_device(tmp_path, stage):
    """Makes devices that are gone after the test, whatever it did."""
    made = []

    def make(name="state"):
        made.append(simdevice.SimulatedDevice(tmp_path / name, stage))
        return made[-1]

    yield make
    for device in made:
        device.power_cut()


@pytest.fixture
def device(make_device):
    """A running device with the daemon."""
    device = make_device()
    device.start()
    return device
