"""The clients in examples/ do what they say, on a device as on the machine beside it."""

import os
import subprocess

import pytest
from simdevice import PROJECT

# One is built first, which no second worker has to do.
pytestmark = pytest.mark.xdist_group("test_examples")

EXAMPLES = os.path.join(PROJECT, "examples")


@pytest.fixture(scope="module")
def built(tmp_path_factory):
    """The client in C++."""
    place = tmp_path_factory.mktemp("client")
    options = ["-G", "Ninja", "-D", "CMAKE_UNITY_BUILD=ON", "--log-level=WARNING"]
    for command in (["cmake", "-S", f"{EXAMPLES}/qt", "-B", place, *options], ["cmake", "--build", place]):
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        assert result.returncode == 0, result.stdout
    return str(place / "nodekeep-client")


def command(language, name, device, request):
    match language:
        case "shell":
            return [f"{EXAMPLES}/shell/{name}"]
        case "python":
            return [f"{EXAMPLES}/python/{name}.py"]
        case "qt":
            return [request.getfixturevalue("built"), name]
        case "javascript":
            return [*device.into_network(), f"{EXAMPLES}/javascript/{name}.mjs", "http://127.0.0.1"]


@pytest.fixture(params=["javascript", "python", "qt", "shell"])
def language(request):
    return request.param


@pytest.fixture
def example(language, request):
    """Runs an example on the machine, as a client of the device's bus, and returns the CompletedProcess."""

    def run(device, name, *arguments):
        environment = {"PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", "DBUS_SYSTEM_BUS_ADDRESS": device.bus_address}
        return subprocess.run(
            [*command(language, name, device, request), *arguments],
            env=environment,
            capture_output=True,
            text=True,
            timeout=120,
            check=False,
        )

    return run


def output(result):
    assert (result.returncode, result.stderr) == (0, "")
    return result.stdout


def test_the_host_name_is_told_changed_and_refused(device, example):
    device.write("/proc/sys/kernel/hostname", "node-4712\n")
    assert output(example(device, "hostname")) == "node-4712\n"

    assert output(example(device, "hostname", "mill-7")) == ""
    assert device.read("/etc/hostname") == "mill-7\n"

    refused = example(device, "hostname", "mill_7")
    assert refused.returncode == 1
    assert refused.stderr == 'The device does not take the name "mill_7" and stays "mill-7".\n'


def test_an_address_is_saved(device, example):
    output(example(device, "address", "192.168.10.7", "255.255.255.0", "192.168.10.1", "192.168.10.2"))
    interfaces = device.read("/etc/network/interfaces")
    assert "iface eth0 inet static\n   address 192.168.10.7\n" in interfaces
    assert "#nameserver 192.168.10.2\n" in interfaces
    assert "eth0.ipaddr=192.168.10.7\n" in device.flash["config"]

    refused = example(device, "address", "192.168.10", "255.255.255.0", "192.168.10.1")
    assert refused.returncode == 1
    assert refused.stderr == "One of these is no address: 192.168.10 255.255.255.0 192.168.10.1\n"
    assert device.read("/etc/network/interfaces") == interfaces
    assert example(device, "address").returncode == 2

    output(example(device, "address", "dhcp"))
    assert "iface eth0 inet dhcp\n" in device.read("/etc/network/interfaces")
    assert "ip=dhcp\n" in device.flash["config"]


@pytest.fixture
def package(own_device, language, tmp_path):
    """Firmware of version 4.3, by the name that the examples take: one uploads it, the others find it on the device."""
    (tmp_path / "image").write_bytes(os.urandom(100_000))
    images = ["--linuximage", tmp_path / "image", "--root", tmp_path / "image", "-o", tmp_path / "package"]
    subprocess.run([os.path.join(PROJECT, "device/mkpackage"), "--version", "4.3", *images], check=True)
    if language == "javascript":
        return str(tmp_path / "package")
    own_device.write("/tmp/web-fwupdate", (tmp_path / "package").read_bytes())
    return "/tmp/web-fwupdate"


def test_an_update_is_followed_to_its_end(own_device, language, example, package):
    stages = output(example(own_device, "update", package)).splitlines()

    assert stages[:4] == [
        f"[1/6] {'uploading' if language == 'javascript' else 'announcing'} {package}",
        "[2/6] unpacking and testing",
        "[3/6] starting /loader/fwupdate0, version 4.3",
        "[4/6] the boot stage writes the images",
    ]
    assert stages[-1] == "[6/6] up with version 4.3"
    assert own_device.boots == 3
    assert not own_device.exists("/tmp/web-fwupdate")
