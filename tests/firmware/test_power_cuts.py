"""The power fails on the way through an update: the device comes up, and its settings are there.

Each step is one point of the road from the start of the update to the second reboot. Where the way in which an update
is made accepts a loss, the step names it; nothing else may be lost there, and nothing at any other step.
"""

import json
import shutil
import subprocess

import flashimage
import pytest
import simdevice
from firmwaredevice import MANAGER
from insidetools import addresses
from powercut import Step, cut_power_at
from roaddevice import CARRIED, INTERFACES, STORE, RoadDevice

ENVIRONMENT = "boot environment"
PLC = "PLC applications"
ADDRESS = "address of the port"

# Live files by the names of their copies, in the order in which they are saved.
SAVED = {path.rpartition("/")[2]: path for path in CARRIED}
SAVING_ORDER = [
    "hostname",
    "interfaces",
    "ssh_host_dsa_key",
    "ssh_host_dsa_key.pub",
    "ssh_host_rsa_key",
    "ssh_host_rsa_key.pub",
    "syslog.conf",
    "guiLevel1",
    "guiLevel2",
    "guiLevel3",
    "guiSystem",
    "variables",
]


def not_yet_saved(count):
    """What is lost when the new firmware is named in the flash and only so many files have been saved."""
    files = {SAVED[name] for name in SAVING_ORDER[count:]}
    return frozenset(files | {PLC} | ({ADDRESS} if INTERFACES in files else set()))


def saving():
    yield Step("the store is made", "mkdir", STORE, loses=not_yet_saved(0))
    yield Step("the marker of the update is opened", "openat", f"{STORE}/update", loses=not_yet_saved(0))
    yield Step("the marker of the update is saved", "chmod", f"{STORE}/update", loses=not_yet_saved(0))
    for count, name in enumerate(SAVING_ORDER):
        yield Step(f"{name} is opened to be saved", "openat", f"{STORE}/{name}", loses=not_yet_saved(count))
    for count in (0, 4, 11):
        name = SAVING_ORDER[count]
        yield Step(f"{name} is saved", "chmod", f"{STORE}/{name}", loses=not_yet_saved(count + 1))


def restoring():
    for name in (
        "hostname",
        "ssh_host_dsa_key",
        "ssh_host_rsa_key",
        "interfaces",
        "variables",
        "guiLevel1",
        "guiSystem",
    ):
        yield Step(f"{name} is restored", "chmod", SAVED[name], boot=2)
    yield Step("ssh_host_rsa_key is opened to be restored", "openat", SAVED["ssh_host_rsa_key"], boot=2)


# From here on no start restores any more, but the PLC's list and connman's address are still to be applied.
FORGOTTEN = frozenset({PLC, ADDRESS, INTERFACES})


def forgetting():
    for name in ("hostname", "ssh_host_dsa_key", "ssh_host_rsa_key.pub", "interfaces"):
        yield Step(f"the copy of {name} is removed", "unlink", f"{STORE}/{name}", boot=2)
    for name in ("update", "syslog.conf", "guiLevel2", "variables"):
        yield Step(f"the copy of {name} is removed", "unlink", f"{STORE}/{name}", boot=2, loses=FORGOTTEN)


STEPS = [
    Step("the environment's file config is opened to be written", "openat", "/var/run/bareboxenv/config"),
    Step("the environment's file update is opened to be written", "openat", "/var/run/bareboxenv/update", 2),
    Step("the tool that erases the flash is started", "execve", "/usr/sbin/flash_eraseall"),
    Step("the flash is opened to be erased", "openat", "/dev/mtdblock1"),
    Step("the flash is erased", "execve", "/usr/sbin/bareboxenv", loses=frozenset({ENVIRONMENT})),
    Step("the environment is read to be packed", "openat", "/var/run/bareboxenv/", loses=frozenset({ENVIRONMENT})),
    *saving(),
    Step("the list of PLC applications is opened", "openat", "/srv/codesys/qmz.cfg", loses=frozenset({PLC})),
    Step("the list of PLC applications is saved", "sync"),
    Step("everything is saved", "sync", nth=2),
    Step("the reboot writes the interfaces file", "openat", INTERFACES, 2),
    Step("the interfaces file is written", "sync", nth=3),
    Step("the reboot is told to the system", "execve", "/usr/sbin/shutdown"),
    Step("the boot stage removes the old host name", "unlink", "/etc/hostname"),
    Step("the boot stage removes the old version record", "unlink", "/etc/oztversion.conf"),
    Step("the boot stage lays the new files", "execve", "/usr/bin/cp"),
    Step("the boot stage removes the PLC's configuration", "unlink", "/CODESYSControl/CODESYSControl.cfg"),
    Step("the boot stage removes connman's settings", "unlink", "/var/lib/connman/settings"),
    Step("the boot stage writes the version record", "openat", "/etc/oztversion.conf"),
    Step("the boot stage puts its marker", "openat", "/new_firmware"),
    Step("the boot stage takes the update out of the flash", "openat", "/dev/mtdblock1", 2, 1),
    Step("the first start unpacks the environment", "mkdir", "/var/run/bareboxenv", boot=2),
    Step("the first start erases the flash", "execve", "/usr/sbin/flash_eraseall", boot=2),
    Step(
        "the flash is erased on the first start",
        "openat",
        "/var/run/bareboxenv/",
        boot=2,
        loses=frozenset({ENVIRONMENT}),
    ),
    Step("the public files are about to be linked", "execve", "/bin/sh", boot=2),
    Step("the public files are being linked", "execve", "/usr/bin/cp", boot=2),
    *restoring(),
    *forgetting(),
    Step("the list of PLC applications is read", "openat", "/srv/codesys/qmz.cfg", boot=2, loses=FORGOTTEN),
    Step("the address is read to be given to connman", "openat", INTERFACES, 2, 2, FORGOTTEN - {PLC}),
    Step("the second reboot writes the interfaces file", "openat", INTERFACES, 3, 2),
    Step("the marker of the first start is removed", "unlink", "/new_firmware", boot=2),
    Step("the second reboot is told to the system", "execve", "/usr/sbin/shutdown", boot=2),
]


def test_there_are_fifty_points_and_more():
    assert len({step.title for step in STEPS}) == len(STEPS) >= 50


@pytest.fixture(scope="session")
def settled_state(make_package, tmp_path_factory, stage):
    """The state of a device with settings of its own and a firmware to be installed, and what an owner sees of it."""
    directory = tmp_path_factory.mktemp("settled") / "state"
    device = RoadDevice(directory, stage)
    device.start(network=True)
    try:
        device.settle()
        device.take_in(make_package("--version", "4.3"))
        return directory, owners_view(device)
    finally:
        device.stop()


def owners_view(device):
    """What an owner would miss, by its name."""
    settings = device.settings()
    return settings.files | {
        PLC: settings.plc_applications,
        ADDRESS: settings.addresses == ["192.168.10.7/24"],
        ENVIRONMENT: "eth0.ethaddr=00:11:22:33:44:55\n" in flash_of(device).get("config", ""),
    }


def flash_of(device):
    try:
        return device.flash
    except flashimage.DamagedImage:
        return {}


def is_up(device):
    """Whether the device runs, and has nothing of an update left to do."""
    try:
        status = device.daemon_status()
        if not status or not status["running"] or "update" in flash_of(device):
            return False
        if device.exists("/new_firmware") or device.exists(f"{STORE}/update"):
            return False
        return device.get(*MANAGER, "factoryInit") is False  # else it is about to reboot
    except (simdevice.DeviceError, subprocess.SubprocessError):  # it is just rebooting
        return False


@pytest.mark.parametrize("step", STEPS, ids=[step.title for step in STEPS])
def test_a_power_cut_loses_nothing_but_what_is_named(step, settled_state, tmp_path, stage, record_property):
    prepared, before = settled_state
    subprocess.run(["cp", "-a", prepared, tmp_path / "state"], check=True)
    device = RoadDevice(tmp_path / "state", stage)
    try:
        device.start(network=True)
        device.wait_for(lambda: device.listed() == ["fwupdate0"], 20, "the scan")
        device.wait_for(lambda: addresses(device) == ["192.168.10.7/24"], 20, "the address")
        cut_power_at(device, step)

        device.start(network=True)
        device.wait_for(lambda: is_up(device), 60, "the device to be up")
        if ADDRESS not in step.loses:
            device.wait_for(lambda: addresses(device) == ["192.168.10.7/24"], 20, "the address")
        after = owners_view(device)
        version = device.version()
    finally:
        device.power_cut()
        shutil.rmtree(tmp_path / "state", ignore_errors=True)

    lost = {name for name, value in before.items() if after[name] != value}
    record_property("power cut", json.dumps([f"{STEPS.index(step) + 1:2} {step.title}", version, sorted(lost)]))
    assert version in ("4.2.0", "4.3")
    assert lost == step.loses
