"""Devices and packages for the firmware tests."""

import functools
import os
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, HERE)

from firmwaredevice import FirmwareDevice  # noqa: E402


@pytest.fixture(scope="session")
def images(tmp_path_factory):
    directory = tmp_path_factory.mktemp("images")
    for name, size in (("linuximage", 200_000), ("root.ubi", 900_000)):
        (directory / name).write_bytes(os.urandom(size))
    return directory


@pytest.fixture(scope="session")
def make_package(images, tmp_path_factory):
    """The bytes of a package: make_package("--version", "4.3", "--broken", "truncated")."""
    target = tmp_path_factory.mktemp("packages") / "package"

    @functools.cache
    def make(*options):
        defaults = [
            "--version",
            "4.3",
            "--releasename",
            "Harvest",
            "--svnversion",
            "12000",
            "--min-updater-version",
            "3",
        ]
        tool = [os.path.join(PROJECT, "device/mkpackage"), *defaults, *options, "-o", target]
        subprocess.run([*tool, "--linuximage", images / "linuximage", "--root", images / "root.ubi"], check=True)
        return target.read_bytes()

    return make


@pytest.fixture
def device_class():
    return FirmwareDevice


@pytest.fixture
def device(own_device):
    """A running device of the test's own that keeps what is uploaded and does not start it."""
    own_device.keep_uploads()
    return own_device
