"""Fixtures of pytest for the tests of programs that call nodekeep. With this directory on Python's path:

pytest_plugins = ["nodekeep_fixtures"]
"""

import os
import socket
import subprocess

import pytest
from places import DEVICE
from simdevice import SimulatedDevice, require_root


@pytest.fixture
def nodekeep_device(tmp_path):
    """A device of this test's own, up and without a network; it ends with the test. Another daemon than the installed
    one comes from the stage that the environment's NODEKEEP_STAGE names."""
    require_root()
    with SimulatedDevice(tmp_path / "nodekeep-device", os.environ.get("NODEKEEP_STAGE")) as device:
        yield device


@pytest.fixture
def nodekeep_url(nodekeep_device):
    """Where the machine reaches the web server of that device."""
    with socket.create_server(("127.0.0.1", 0)) as probe:
        port = probe.getsockname()[1]
    forwarder = nodekeep_device.listen(port)
    yield f"http://127.0.0.1:{port}/"
    forwarder.kill()
    forwarder.wait()


@pytest.fixture
def nodekeep_package(tmp_path):
    """Makes firmware packages: takes options of mkpackage and returns the path of the package."""

    def make(*options, name="firmware.qmz"):
        images = [f"--{image}={tmp_path / image}" for image in ("linuximage", "root")]
        for image in ("linuximage", "root"):
            (tmp_path / image).write_bytes(os.urandom(4096))
        package = tmp_path / name
        subprocess.run([os.path.join(DEVICE, "mkpackage"), *images, *options, "-o", package], check=True)
        return package

    return make
