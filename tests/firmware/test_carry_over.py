"""Identity and settings over an update, with the PLC's applications, and the public files of a firmware."""

from firmwaredevice import MANAGER, TAKEN, FirmwareDevice
from insidetools import shadow

CARRIED = {
    "hostname": "/etc/hostname",
    "interfaces": "/etc/network/interfaces",
    "ssh_host_dsa_key": "/etc/ssh/ssh_host_dsa_key",
    "ssh_host_dsa_key.pub": "/etc/ssh/ssh_host_dsa_key.pub",
    "ssh_host_rsa_key": "/etc/ssh/ssh_host_rsa_key",
    "ssh_host_rsa_key.pub": "/etc/ssh/ssh_host_rsa_key.pub",
    "syslog.conf": "/etc/syslog.conf",
    "guiLevel1": "/etc/guiLevel1",
    "guiLevel2": "/etc/guiLevel2",
    "guiLevel3": "/etc/guiLevel3",
    "guiSystem": "/etc/guiSystem",
    "variables": "/etc/variables",
}
CONFIGURATION = "/CODESYSControl/CODESYSControl.cfg"


def settings(device):
    return {name: device.read(path) for name, path in CARRIED.items()}


def change_settings(device):
    """Settings of the device's own, all different, in the files' form; what was written."""
    written = {name: f"#!/bin/sh\nname={name}\n" for name in CARRIED}
    written["hostname"] = "node-7\n"
    written["interfaces"] = "auto lo\niface lo inet loopback\n"
    for name, content in written.items():
        device.write(CARRIED[name], content, mode="600" if name.endswith("_key") else None)
    return written


def store(device):
    return device.exec(["ls", "-A", "/srv/nodekeep"]).stdout.split()


def without_port(files):
    """All but the interfaces file, which each reboot writes anew: as DHCP where there is no connman to tell better."""
    return {name: content for name, content in files.items() if name != "interfaces"}


def mode(device, path):
    return device.exec(["stat", "-c", "%a", path], check=True).stdout.strip()


def test_settings_survive_an_update(device: FirmwareDevice, make_package):
    written = change_settings(device)
    device.exec(["mkdir", "-p", "/CODESYSControl", "/srv/codesys"], check=True)
    device.write(CONFIGURATION, "[CmpApp]\nApplication.1=Old\n")
    device.write("/var/lib/plcruntime/apps", 'as ["Pump", "Fan"]')
    device.upload(make_package("--version", "4.3"))
    device.wait_told(TAKEN)

    device.call_to_the_end("/loader/fwupdate0", "local.NandUpdate", "startUpdate")

    device.wait_boots(3)
    assert device.get("/system", "local.System", "oztversion") == "4.3"
    assert without_port(settings(device)) == without_port(written)
    assert mode(device, CARRIED["ssh_host_rsa_key"]) == "600"
    assert store(device) == []
    assert device.get("/system", "local.System", "hostname") == "node-7"
    assert "[CmpApp]\nApplication.1=Pump\nApplication.2=Fan\n" in device.read(CONFIGURATION)
    assert device.read("/srv/codesys/qmz.cfg") == "35\nPump\nFan\n"
    assert device.flags() == {"factoryInit": False, "fwUpdated": False, "updateFailed": False}


def test_settings_wait_on_the_data_partition_for_the_first_start(device: FirmwareDevice):
    written = change_settings(device)
    shadow(device, "shutdown", "exit 0")
    device.write("/srv/fwupdate/fwupdate3/public/page.htm", "<p>")
    device.exec(["mkdir", "/srv/public"], check=True)
    device.start_with_shadows()
    device.call(*MANAGER, "startUpdateNand", "s", "fwupdate3")
    assert sorted(store(device)) == sorted([*CARRIED, "update"])
    device.stop_daemon()
    for path in CARRIED.values():
        device.write(path, "of the new firmware\n")

    device.start_daemon()

    assert settings(device) == written
    assert store(device) == []
    assert device.flags() == {"factoryInit": False, "fwUpdated": True, "updateFailed": True}
    links = device.exec(["stat", "-c", "%h", "/srv/public/page.htm"], check=True).stdout
    assert links == "2\n"


def test_a_power_cut_before_the_restore_costs_nothing(device: FirmwareDevice, make_package):
    written = change_settings(device)
    device.upload(make_package("--version", "4.3"))
    device.wait_told(TAKEN)
    shadow(device, "shutdown", "exit 0")
    device.start_with_shadows()
    device.wait_for(lambda: device.records(), what="the scan")
    device.call("/loader/fwupdate0", "local.NandUpdate", "startUpdate")

    device.power_cycle()

    device.wait_boots(2)
    assert without_port(settings(device)) == without_port(written)
    assert device.get("/system", "local.System", "oztversion") == "4.3"


def test_a_partition_that_is_mounted_late_brings_the_settings_then(new_device: FirmwareDevice):
    device = new_device
    device.start(srv=False, started=False)
    device.mount_srv()
    device.write("/srv/nodekeep/update", "NAND_UPDATE=fwupdate9\n")
    device.write("/srv/nodekeep/guiLevel1", "stored=1\n")
    device.unmount_srv()
    assert device.flags()["updateFailed"] is False

    device.mount_srv(told=True)

    device.wait_for(lambda: device.flags()["updateFailed"], what="the restore")
    assert device.flags() == {"factoryInit": False, "fwUpdated": True, "updateFailed": True}
    assert device.read("/etc/guiLevel1") == "stored=1\n"
    assert store(device) == []


def test_a_store_without_the_marker_stays(new_device: FirmwareDevice):
    device = new_device
    device.start(daemon=False)
    before = device.read("/etc/guiLevel1")
    device.write("/srv/nodekeep/guiLevel1", "stored=1\n")

    device.start_daemon()

    assert device.flags() == {"factoryInit": False, "fwUpdated": False, "updateFailed": False}
    assert device.read("/etc/guiLevel1") == before
    assert store(device) == ["guiLevel1"]
