"""Firmware records: found by the scan at start, listed, deleted, and Constants beside them."""

import pytest

from firmwaredevice import MANAGER, FirmwareDevice

RECORD = "local.NandUpdate"
CONSTANTS = ("/system/constants", "local.Constants")
FILES = ("linuximage", "linuximage.md5", "root.ubi", "root.ubi.md5", "control")


def put_firmware(device, name, version="4.3", without=()):
    for file in FILES:
        if file not in without:
            content = f'VERSION="{version}"\nMIN_UPDATER_VERSION=3\n' if file == "control" else "x"
            device.write(f"/srv/fwupdate/{name}/{file}", content)


def restart(device):
    device.stop_daemon()
    device.start_daemon()


def wait_for_scan(device, names):
    device.wait_for(lambda: sorted(device.records()) == sorted(names), 30, f"{names}")


def test_the_scan_at_start_finds_complete_firmware_and_counts_all(device: FirmwareDevice, make_package):
    put_firmware(device, "fwupdate0")
    put_firmware(device, "fwupdate7", version="4.7")
    put_firmware(device, "fwupdate9", without=["control"])
    put_firmware(device, "lost")
    device.write("/srv/fwupdate/firmware/linuximage", "left over")
    device.write("/srv/fwupdate/a-file", "")

    restart(device)

    wait_for_scan(device, ["fwupdate0", "fwupdate7", "lost"])
    assert {"/loader/fwupdate0", "/loader/fwupdate7", "/loader/lost"} <= set(device.tree())
    assert device.call("/loader/fwupdate7", RECORD, "version") == "4.7"
    assert device.call("/loader/fwupdate7", RECORD, "getIndex") == 7
    assert device.call("/loader/lost", RECORD, "getIndex") == -1
    assert "firmware" not in device.firmware_directories()
    assert "fwupdate9" in device.firmware_directories()
    # The next package comes behind the incomplete number 9.
    device.keep_uploads()
    device.upload(make_package())
    device.wait_for(lambda: "fwupdate10" in device.records(), 30, "the next number")


def test_a_deleted_firmware_is_gone_from_bus_list_and_disk(device: FirmwareDevice):
    put_firmware(device, "fwupdate0")
    put_firmware(device, "fwupdate1")
    restart(device)
    wait_for_scan(device, ["fwupdate0", "fwupdate1"])

    device.call("/loader/fwupdate0", RECORD, "deleteFw")

    assert list(device.records()) == ["fwupdate1"]
    assert "/loader/fwupdate0" not in device.tree()
    assert device.firmware_directories() == ["fwupdate1"]
    assert device.platform_log()[-1]["args"] == ["/loader/fwupdate0"]


def test_deleting_what_is_gone_already_warns_and_tells_no_event(device: FirmwareDevice):
    put_firmware(device, "fwupdate0")
    restart(device)
    wait_for_scan(device, ["fwupdate0"])
    device.exec(["rm", "-r", "/srv/fwupdate/fwupdate0"], check=True)

    device.call("/loader/fwupdate0", RECORD, "deleteFw")

    assert device.records() == {}
    assert "firmware directory fwupdate0 does not exists." in device.daemon_log()
    assert "SystemEvent.firmwareDeleted" not in [line["call"] for line in device.platform_log()]


def test_clean_up_keeps_the_highest_number_alone(device: FirmwareDevice):
    for number in (0, 3, 12):
        put_firmware(device, f"fwupdate{number}")
    restart(device)
    wait_for_scan(device, ["fwupdate0", "fwupdate3", "fwupdate12"])

    assert device.call(*MANAGER, "cleanupFirmwareUpdates") is True

    assert list(device.records()) == ["fwupdate12"]
    assert device.firmware_directories() == ["fwupdate12"]


def test_clean_up_deletes_all_when_the_highest_is_incomplete(device: FirmwareDevice):
    put_firmware(device, "fwupdate0")
    put_firmware(device, "fwupdate5", without=["root.ubi"])
    restart(device)
    wait_for_scan(device, ["fwupdate0"])

    device.call(*MANAGER, "cleanupFirmwareUpdates")

    assert device.records() == {}
    assert device.firmware_directories() == ["fwupdate5"]


def test_starting_an_unknown_firmware_does_nothing(device: FirmwareDevice):
    before = device.flash

    device.call(*MANAGER, "startUpdateNand", "s", "fwupdate99")

    assert device.told() == []
    assert device.flash == before


def test_constants_are_read_and_saved_to_flash_at_once(device: FirmwareDevice):
    assert device.call(*CONSTANTS, "get", "s", "no-such-name") == ""
    assert device.call(*CONSTANTS, "isAvailable", "s", "no-such-name") is False

    assert device.call(*CONSTANTS, "set", "ss", "calibrated", '"2026-11-21"') is True

    assert device.call(*CONSTANTS, "get", "s", "calibrated") == '"2026-11-21"'
    assert "calibrated" in device.call(*CONSTANTS, "variableList")
    assert 'calibrated="2026-11-21"\n' in device.flash["system"]


@pytest.mark.parametrize("value", ["", " "])
def test_a_constant_with_an_empty_value_is_available(device: FirmwareDevice, value):
    device.call(*CONSTANTS, "set", "ss", "empty", value)

    assert device.call(*CONSTANTS, "isAvailable", "s", "empty") is True


def test_constants_make_their_store_when_there_is_none(device: FirmwareDevice):
    device.call(*MANAGER, "delConfig", "s", "system")

    device.call(*CONSTANTS, "set", "ss", "a", "1")

    assert device.flash["system"] == "#!/bin/sh\na=1\n"
    # ... and that one is the manager's current store now.
    assert device.call(*MANAGER, "getEnv", "s", "a") == "1"
