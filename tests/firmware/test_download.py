"""Packages that are fetched over HTTP, by the real wget from a server on the device's loopback."""

import os
import subprocess

import pytest

from firmwaredevice import MANAGER, TAKEN, FirmwareDevice
from insidetools import shadow

SUPPORT = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))), "support")
ADDRESS = "http://127.0.0.1:8080"
BEGIN, END, FAILED = (60, 2), (60, 3), [(10, 1), 0]


@pytest.fixture
def server(device, make_package):
    """A web server inside the device that has a good package."""
    device.write("/srv/package", make_package())
    command = [*device.entrance(), "/usr/bin/python3", f"{SUPPORT}/http_server.py", "8080", "/srv/package"]
    with subprocess.Popen(command, cwd="/") as process:
        listening = "grep -q :1F90 /proc/net/tcp"
        device.wait_for(lambda: device.exec(["sh", "-c", listening]).returncode == 0, what="the web server")
        yield
        process.kill()


def download(device, page):
    device.call(*MANAGER, "startUpdateHttp", "s", f"{ADDRESS}/{page}")


@pytest.mark.parametrize("page", ["good", "redirect", "cut"])
def test_a_package_that_comes_in_the_end_is_taken(device: FirmwareDevice, server, page):
    download(device, page)

    device.wait_told([BEGIN, END, *TAKEN])
    assert list(device.records()) == ["fwupdate0"]
    assert not device.exists("/tmp/fwupdate")


def test_a_missing_package_is_a_failure(device: FirmwareDevice, server):
    download(device, "missing")

    device.wait_told([BEGIN, END, *FAILED])
    assert "firmware download failed" in device.daemon_log()
    assert not device.exists("/tmp/fwupdate")

    download(device, "good")
    device.wait_told([BEGIN, END, *FAILED, BEGIN, END, *TAKEN])


def test_a_slow_server_holds_nobody_up(device: FirmwareDevice, server):
    download(device, "slow")
    device.wait_for(lambda: device.exists("/tmp/fwupdate"), what="the first half")

    assert device.records() == {}
    assert device.told() == [BEGIN]

    device.write("/run/http-go", "")
    device.wait_told([BEGIN, END, *TAKEN])


def test_nobody_listening_is_a_failure(device: FirmwareDevice):
    download(device, "good")

    device.wait_told([BEGIN, END, *FAILED])


@pytest.mark.parametrize("address", ["", "http://[::1", "http://a b:99999999/"])
def test_an_invalid_address_is_told_by_nothing_but_the_leds(device: FirmwareDevice, address):
    device.call(*MANAGER, "startUpdateHttp", "s", address)

    assert device.records() == {}
    assert device.told() == [BEGIN]


def test_the_default_address_is_the_makers_build_server(device: FirmwareDevice):
    shadow(device, "wget", 'printf "%s\\n" "$@" >/run/wget-arguments; exit 4')
    device.start_with_shadows()

    device.call(*MANAGER, "startUpdateHttp")

    device.wait_told([BEGIN, END, *FAILED])
    assert device.read("/run/wget-arguments").split() == [
        "-O",
        "/tmp/fwupdate",
        "http://builds.ozt.example/qmz/builds/latest",
    ]


def test_a_wget_that_is_missing_is_one_that_fails(device: FirmwareDevice):
    device.write("/tmp/fwupdate", "half")
    device.start_without("wget")

    download(device, "good")

    device.wait_told([BEGIN, END, *FAILED])
    assert not device.exists("/tmp/fwupdate")


@pytest.mark.parametrize("script", ["exit 8", "kill -9 $$", "kill -15 $$", "yes | head -c 3000000; exit 1"])
def test_a_wget_that_fails_in_any_way(device: FirmwareDevice, script):
    shadow(device, "wget", f"echo half >/tmp/fwupdate; {script}")
    device.start_with_shadows()

    download(device, "good")

    device.wait_told([BEGIN, END, *FAILED])
    assert not device.exists("/tmp/fwupdate")
