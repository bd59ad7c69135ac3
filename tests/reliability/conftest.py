"""A device on which the daemon's calls of the kernel can fail."""

import os
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(os.path.dirname(HERE))
sys.path[:0] = [HERE, os.path.join(PROJECT, "tests/plc")]


@pytest.fixture(scope="session")
def small_package(tmp_path_factory):
    """The bytes of a firmware package with images of a few bytes."""
    directory = tmp_path_factory.mktemp("package")
    for name in ("linuximage", "root.ubi"):
        (directory / name).write_bytes(os.urandom(2000))
    images = ["--linuximage", directory / "linuximage", "--root", directory / "root.ubi"]
    command = [os.path.join(PROJECT, "device/mkpackage"), "--version", "4.3", *images, "-o", directory / "package"]
    subprocess.run(command, check=True)
    return (directory / "package").read_bytes()
