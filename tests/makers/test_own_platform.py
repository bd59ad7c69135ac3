"""A maker's own platform library, the example: built against what is installed, put in the reference's place."""

import os
import shutil
import subprocess

import pytest
import simdevice
from mainloop import heard

EXAMPLE = os.path.join(simdevice.PROJECT, "examples/platform")
TOOL = os.path.join(simdevice.PROJECT, "tools/abi")
LIBRARY = "libQMZ.so.1"

pytestmark = pytest.mark.xdist_group(__name__)  # so that it is built once


def run(*command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    assert result.returncode == 0, result.stdout + result.stderr


@pytest.fixture(scope="module")
def build(tmp_path_factory, stage):
    """The build directory of the example."""
    build = tmp_path_factory.mktemp("build")
    options = {"CMAKE_BUILD_TYPE": "Debug", "CMAKE_PREFIX_PATH": f"{stage}/usr", "CMAKE_UNITY_BUILD": "ON"}
    run("cmake", "-G", "Ninja", "-S", EXAMPLE, "-B", build, *(f"-D{name}={value}" for name, value in options.items()))
    run("cmake", "--build", build)
    return build


@pytest.fixture(scope="module")
def module_device(tmp_path_factory, stage, build):
    """A device with the daemon as it is and the example's library."""
    image = tmp_path_factory.mktemp("image")
    shutil.copytree(stage, image, symlinks=True, dirs_exist_ok=True)
    run("cmake", "--install", build, "--prefix", image / "usr")
    device = simdevice.SimulatedDevice(tmp_path_factory.mktemp("device") / "state", image)
    device.start()
    yield device
    device.power_cut()


def test_it_has_all_that_the_daemon_takes_and_shows_nothing_else(build):
    run(TOOL, build / LIBRARY)


def test_the_daemon_takes_its_names(device, client):
    assert {"gauge", "limits"} <= client.children("/system")
    assert not {"variables", "constants"} & client.children("/system")

    client.call("/system/gauge", "syncSet", "station", "weir 3")

    assert "station" in device.read("/etc/gauge")


def test_the_daemon_tells_it_the_events(device, client):
    with heard(device, "NameChange", "example.gauge.Events") as events:
        client.set("/system", "local.System", "hostname", "weir-3")
        device.wait_for(lambda: events, what="the event")

    assert events == [("weir-3", "/")]


def test_nothing_of_the_reference_is_left(device, client):
    client.call("/testsystemevent", "reboot", "/")

    assert device.exec(["test", "-e", "/var/log/qmz"]).returncode != 0
