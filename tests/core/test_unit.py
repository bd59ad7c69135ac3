"""The service unit: how little it leaves open, and that the daemon does its work within that."""

import os
import shutil
import subprocess

import pytest
import simdevice
from busclient import BusClient
from insidetools import shell
from plcdevice import DIRECTORY, FILES, LOADER, PlcDevice

UNIT = os.path.join(simdevice.PROJECT, "packaging/nodekeep.service")
CONFINED = os.path.join(simdevice.PROJECT, "tests/support/confined.py")
MKPACKAGE = os.path.join(simdevice.PROJECT, "device/mkpackage")
REAL = "usr/lib/nodekeep/nodekeep"

# The bits of CAP_DAC_OVERRIDE, CAP_FOWNER and CAP_NET_ADMIN; CAP_SYS_TIME no program of a device has.
RIGHTS = 1 << 1 | 1 << 3 | 1 << 12

RESET_FILE = "hostname=node-4711\nmac=00:11:22:33:44:55\n"


def test_the_unit_leaves_little_open():
    rate = ["systemd-analyze", "security", "--offline=true", "--no-pager", "--threshold=30", UNIT]

    rated = subprocess.run(rate, capture_output=True, text=True)

    assert rated.returncode == 0, rated.stdout + rated.stderr


@pytest.fixture(scope="module")
def module_device(tmp_path_factory, stage):
    """A device with a PLC runtime whose daemon is confined as its unit says."""
    place = tmp_path_factory.mktemp("confined")
    copy = shutil.copytree(stage, place / "stage", symlinks=True)
    (copy / REAL).parent.mkdir()
    (copy / simdevice.DAEMON).rename(copy / REAL)
    # The search for leaks would trace the daemon, which its unit forbids.
    options = "ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0"
    (copy / simdevice.DAEMON).write_text(f"#!/bin/sh\n{options} exec {CONFINED} {UNIT} /{REAL}\n")
    (copy / simdevice.DAEMON).chmod(0o755)
    with PlcDevice(place / "state", copy) as device:
        device.install_runtime()
        shell(device, MAKE_KEY, stderr=None)
        device.stop_daemon()
        device.start_daemon()
        yield device


MAKE_KEY = """
umask 077
mkdir -p /opt/keys
gpg --homedir /opt/keys --batch --quiet --passphrase '' --quick-gen-key maker ed25519 sign never
gpg --homedir /opt/keys --export | gpg --batch --quiet --import
"""


def status(device):
    lines = device.read(f"/proc/{device.daemon_status()['pid']}/status").splitlines()
    return dict(line.split(":\t", 1) for line in lines)


# What it can't do


def test_it_has_the_rights_that_the_unit_names_and_no_others(device):
    held = status(device)

    assert [int(held[name], 16) for name in ("CapEff", "CapPrm", "CapBnd", "CapInh")] == [RIGHTS, RIGHTS, RIGHTS, 0]
    assert (held["NoNewPrivs"], held["Seccomp"]) == ("1", "2")


def test_it_writes_where_the_unit_lets_it_and_nowhere_else(device):
    for name in ("../../usr/share/a.pdf", "../../home/a.pdf", "../../etc/a.pdf"):
        announce(device, "content", name)

    places = shell(device, "find /usr/share/a.pdf /home/a.pdf /etc/a.pdf 2>/dev/null || true").split()
    assert places == ["/etc/a.pdf"]


# What it can do


def announce(device, content, name, path="/tmp/report"):
    """An upload of a web server that is not root, and what the daemon makes of it."""
    device.write(path, content)
    shell(device, f"chown www-data: {path}; chmod 600 {path}")
    shell(device, f"busctl emit / com.ozt.httpdata fileUploaded ss {path} '{name}'")
    with BusClient(device) as client:
        client.ping()


def test_it_takes_and_removes_what_is_not_roots(device):
    announce(device, "content", "report.pdf")

    assert device.read("/srv/certificates/report.pdf") == "content"
    assert not device.exists("/tmp/report")


def test_it_sets_the_host_name(device, client):
    client.set("/system", "local.System", "hostname", "mill-7")

    assert shell(device, "hostname; cat /etc/hostname").split() == ["mill-7", "mill-7"]
    client.set("/system", "local.System", "hostname", "node-4711")


def test_it_saves_the_boot_environment_to_the_flash(device, client):
    client.call("/loader/config", "set", "colour", "blue")

    client.call("/loader", "saveEnv")

    assert "colour=blue\n" in device.flash["config"]


def test_it_sets_up_the_can_port(device, client):
    client.set("/system/can", "local.CanInterface", "baudrate", 250000)
    client.set("/system/can", "local.CanInterface", "termination", True)

    assert client.call("/system/can", "getActualBaudrate") == 250000
    assert device.read_bytes("/dev/canterm") == b"\1"


def test_it_runs_the_tools_of_the_clocks(device, client):
    for method in ("systemTimeToHwClock", "hwClockToSystemTime"):
        client.call("/system/time", method)

    assert client.call("/system/time", "getHwTimeAsText") != ""
    assert device.tool_log("hwclock")[:2] == [["hwclock", "-w", "-u"], ["hwclock", "-s", "-u"]]


def test_it_changes_the_files_below_etc(device, client):
    client.set("/system/time", "local.Systemtime", "timezone", "Europe/Rome")
    client.set("/system/syslog", "local.LogConfig", "remote_log_target", "192.0.2.1")
    client.call("/system/guiLevel1", "syncSet", "colour", "blue")

    assert shell(device, "readlink /etc/localtime") == "../usr/share/zoneinfo/Europe/Rome\n"
    assert "192.0.2.1" in device.read("/etc/syslog.conf")
    assert "colour=blue\n" in device.read("/etc/guiLevel1")


def test_it_resets_the_web_password_by_a_signed_file(device, client):
    sign = "gpg --homedir /opt/keys --batch --quiet --clear-sign >/tmp/reset.asc"
    shell(device, sign, input=RESET_FILE)

    assert client.call("/system", "resetWebPassword", "/tmp/reset.asc")


def test_it_backs_up_the_data_of_the_plc_and_puts_them_back(device, client):
    shell(device, f"chown -R www-data: {DIRECTORY}")
    archive = str(client.call("/loader", "createCodesysTarball", interface=LOADER))
    shell(device, f"rm {DIRECTORY}/Pump.app")

    assert client.call("/loader", "restoreCodesysFromTarball", archive, interface=LOADER)

    assert device.files() == FILES | {"qmz.cfg": "35\nPump\nFan\n"}
    assert not device.exists(archive)


def test_it_sees_the_data_partition_come(device):
    device.stop_daemon()
    device.unmount_srv()
    device.start_daemon()
    start = len(device.daemon_log())

    device.mount_srv(told=True)

    device.wait_for(lambda: "/srv available" in device.daemon_log(start), what="the scan")


PACK = """
mkdir /tmp/package && cd /tmp/package
for image in linuximage root.ubi; do echo $image >$image; done
/usr/bin/python3 {0} --linuximage linuximage --root root.ubi --version 4.3 -o package
tar -xzf package
chown -R www-data: firmware
tar -czf /tmp/upload-fwupdate firmware
"""


def test_it_takes_a_firmware_in_and_starts_it_with_the_settings_of_before(device, client):
    client.call("/system/guiLevel1", "syncSet", "colour", "red")
    client.set("/loader", "local.FwUpdateSettings", "onlyUploadFirmware", True)
    shell(device, PACK.format(MKPACKAGE))
    shell(device, "busctl emit / com.ozt.httpdata fileUploaded ss /tmp/upload-fwupdate package")
    device.wait_for(lambda: client.children("/loader") & {"fwupdate0"}, what="the firmware")

    client.call("/loader/fwupdate0", "startUpdate")

    device.wait_for(lambda: device.boots == 3, what="both reboots")
    device.wait_daemon()
    with BusClient(device) as client:
        assert client.get("/system", "local.System", "oztversion") == "4.3"
        assert client.call("/system/guiLevel1", "get", "colour") == "red"
    assert not device.exists("/new_firmware")
