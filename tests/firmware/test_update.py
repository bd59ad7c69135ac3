"""The road of a firmware through both reboots, and the first start, with the device's boot stage at its end."""

import pytest

from firmwaredevice import MANAGER, TAKEN, FirmwareDevice
from insidetools import init_jobs, shadow, start_shadowed

RECORD = "local.NandUpdate"


def test_an_update_reboots_flashes_and_reboots_once_more(device: FirmwareDevice, make_package):
    assert device.get("/system", "local.System", "oztversion") == "4.2.0"
    device.upload(make_package("--version", "4.3"))
    device.wait_told(TAKEN)
    log_before = len(device.daemon_log())

    device.call_to_the_end("/loader/fwupdate0", RECORD, "startUpdate")

    device.wait_boots(3)
    assert device.get("/system", "local.System", "oztversion") == "4.3"
    assert device.get(*MANAGER, "factoryInit") is False
    assert device.get(*MANAGER, "fwUpdated") is False
    assert not device.exists("/new_firmware")
    assert "update" not in device.flash
    device.wait_for(lambda: list(device.records()) == ["fwupdate0"], what="the scan")
    assert device.daemon_log(log_before).count("/srv available scanning firmware.") == 2


def test_an_uploaded_package_starts_by_itself_unless_told_otherwise_since_the_daemons_start(
    own_device: FirmwareDevice, make_package
):
    own_device.keep_uploads()
    own_device.stop_daemon()
    own_device.start_daemon()
    assert own_device.get(*MANAGER, "onlyUploadFirmware") is False

    own_device.upload(make_package("--version", "4.4"))

    own_device.wait_boots(3)
    assert own_device.get("/system", "local.System", "oztversion") == "4.4"


def test_starting_a_firmware_names_it_in_the_flash_and_then_reboots(device: FirmwareDevice):
    shadow(device, "shutdown", 'printf "%s\\n" "$@" >/srv/shutdown-arguments')
    device.write("/srv/fwupdate/fwupdate3/any", "")
    device.start_with_shadows()
    before = len(device.platform_log())

    device.call(*MANAGER, "startUpdateNand", "s", "fwupdate3")

    assert device.flash["update"] == "#!/bin/sh\nNAND_UPDATE=fwupdate3\n"
    calls = [[line["call"], *line["args"]] for line in device.platform_log()[before:]]
    assert calls == [
        ["SystemEvent.firmwareUpdate", 5, "/"],
        ["Upstart.stop", "nmbd", False],
        ["SystemEvent.networkAddressChange", "DHCP", "/"],
        ["Upstart.stop", "dorlanserver", False],
        ["SystemEvent.reboot", "/"],
    ]
    assert device.read("/srv/shutdown-arguments").split() == ["-r", "now"]
    assert ["Stop", "dorlanserver", [], False] in init_jobs(device)
    # The new store stays the current one.
    assert device.call(*MANAGER, "getEnv", "s", "NAND_UPDATE") == "fwupdate3"


@pytest.fixture
def held(new_device):
    """A device on which a reboot is seen and does not happen, with no "started" of its own."""
    new_device.start(daemon=False)
    shadow(new_device, "shutdown", "echo down >>/srv/shutdowns")
    return new_device


def start_held(device, srv=True):
    if not srv:
        device.unmount_srv()
    start_shadowed(device)


def test_an_ordinary_start_does_not_listen_for_started(held: FirmwareDevice):
    start_held(held)

    held.emit_started()

    assert held.flags() == {"factoryInit": False, "fwUpdated": False, "updateFailed": False}
    assert held.reboots_told() == []


@pytest.mark.parametrize("arguments", [[], ["s", "x"], ["a{sv}", "1", "k", "u", "7"]])
def test_a_first_start_with_srv_ready_reboots_at_started(held: FirmwareDevice, arguments):
    held.write("/new_firmware", "")
    start_held(held)
    assert held.flags() == {"factoryInit": True, "fwUpdated": True, "updateFailed": False}
    assert held.reboots_told() == []

    held.busctl("emit", "/any/path", "com.ozt.syscfgmgr", "started", *arguments)

    held.wait_for(lambda: held.reboots_told() == [["/"]], what="the reboot")
    assert not held.exists("/new_firmware")


def test_a_first_start_with_started_first_reboots_when_srv_is_mounted(held: FirmwareDevice):
    held.write("/new_firmware", "")
    start_held(held, srv=False)
    assert held.flags() == {"factoryInit": True, "fwUpdated": False, "updateFailed": False}
    held.emit_started()
    held.tell_udev("add")
    assert held.reboots_told() == []

    held.mount_srv()

    held.wait_for(lambda: held.reboots_told() == [["/"]], what="the reboot")
    assert held.flags()["fwUpdated"] is True
    assert "/srv available scanning firmware." not in held.daemon_log()


def test_factory_init_is_a_first_start_and_is_cleared_from_the_flash(held: FirmwareDevice):
    held.flash = held.flash | {"factory_init": "#!/bin/sh\n"}
    start_held(held)

    assert held.flags() == {"factoryInit": True, "fwUpdated": True, "updateFailed": False}
    assert "factory_init" not in held.flash
    assert not held.exists("/var/run/bareboxenv/factory_init")
    assert "/loader/factory_init" not in held.tree()
    assert "config" in held.flash


def test_arm_reboot_on_an_ordinary_system_only_arms(held: FirmwareDevice):
    start_held(held)

    held.call(*MANAGER, "armReboot")

    assert held.reboots_told() == []
    held.tell_udev("add")
    held.wait_for(lambda: held.reboots_told() == [["/"]], what="the reboot at the next mount")


def test_reboot_without_a_marker_and_without_a_network_object_does_all_the_rest(held: FirmwareDevice):
    start_held(held)

    held.call(*MANAGER, "reboot")

    assert held.reboots_told() == [["/"]]
    assert held.read("/srv/shutdowns") == "down\n"
    assert held.records() == {}  # the daemon goes on until the system ends it


def test_a_firmware_without_images_boots_the_old_system(device: FirmwareDevice):
    device.write("/srv/fwupdate/fwupdate5/control", "VERSION=5\n")

    device.call_to_the_end(*MANAGER, "startUpdateNand", "s", "fwupdate5")

    device.wait_boots(2)
    assert device.get("/system", "local.System", "oztversion") == "4.2.0"
    assert device.get(*MANAGER, "factoryInit") is False
    assert "update" not in device.flash


def test_a_power_cut_on_the_way_into_the_update_boots_the_new_system(device: FirmwareDevice, make_package):
    device.upload(make_package("--version", "4.3"))
    device.wait_told(TAKEN)
    device.stop_daemon()
    shadow(device, "shutdown", "exit 0")
    device.start_with_shadows()
    device.wait_for(lambda: device.records(), what="the scan")
    device.call("/loader/fwupdate0", RECORD, "startUpdate")

    device.power_cycle()

    device.wait_boots(2)
    assert device.get("/system", "local.System", "oztversion") == "4.3"
    assert "update" not in device.flash


@pytest.mark.slow
def test_a_shutdown_that_takes_its_time_is_left_running(held: FirmwareDevice):
    shadow(held, "shutdown", "until [ -e /srv/go ]; do sleep 0.1; done; echo done >/srv/slow-shutdown")
    start_held(held)

    held.call(*MANAGER, "reboot")

    assert not held.exists("/srv/slow-shutdown")
    held.write("/srv/go", "")
    held.wait_for(lambda: held.exists("/srv/slow-shutdown"), 30, "the end of shutdown")
