"""A device in use for a long time: one operation after the other over the whole surface, each with its effect, and the
daemon holds in the end what it held in the beginning."""

import json
import os
import random
import subprocess
import time

import dbus
import pytest
import web
from busclient import BusClient
from footprint import GROWTH_KIB, Footprint, assert_back_to
from insidetools import SPARING, platform_calls, shell
from interfacesfile import DHCP_STANZA, interfaces_file, static_stanza
from networkclient import NetworkClient
from plcdevice import CONFIGURATION, LOADER, PlcDevice
from simdevice import PROJECT

# Operations a second, and for how long.
SHORT, LONG = (1, 180), (3, 4 * 60 * 60)
REPORT_S = 600
REFUSED_KIB = 3  # a package that can't be unpacked leaves its process object for good


@pytest.fixture
def device_class():
    return PlcDevice


@pytest.fixture(scope="session")
def package(tmp_path_factory):
    """A small firmware package."""
    directory = tmp_path_factory.mktemp("package")
    image, made = directory / "image", directory / "package"
    image.write_bytes(os.urandom(50_000))
    options = ["--version", "4.3", "--min-updater-version", "3", "--linuximage", image, "--root", image]
    subprocess.run([os.path.join(PROJECT, "device/mkpackage"), *options, "-o", made], check=True)
    return made.read_bytes()


class User:
    """Whoever sits before the device's web pages. Every operation asserts what comes of it."""

    def __init__(self, device, client, package, seed):
        self.device = device
        self.client = client
        self.package = package
        self.random = random.Random(seed)
        self.network = NetworkClient(client)
        self.refused = 0

    def number(self, limit=1_000_000):
        return self.random.randrange(1, limit)

    def name_the_device(self):
        name = f"mill-{self.number()}"
        self.client.set("/system", "local.System", "hostname", name)
        assert self.client.get("/system", "local.System", "hostname") == name
        assert self.device.read("/proc/sys/kernel/hostname").strip() == name

    def give_it_an_address(self):
        address = f"10.1.2.{self.number(250)}"
        self.network.write(ipaddress=address, netmask="255.0.0.0", gateway="10.0.0.1", nameserver="9.9.9.9", dhcp=False)
        assert self.network.save()
        assert self.device.read("/etc/network/interfaces") == interfaces_file(static_stanza(address))

    def leave_the_address_to_the_network(self):
        self.network.dhcp = True
        assert self.network.save()
        assert self.device.read("/etc/network/interfaces") == interfaces_file(DHCP_STANZA)

    def read_the_port(self):
        self.network.read()
        assert self.network.macaddress == "00:11:22:33:44:55"

    def change_a_boot_variable(self):
        value = str(self.number())
        self.client.call("/loader/config", "set", "soak", value)
        self.client.call("/loader", "saveEnv")
        assert f"soak={value}" in self.device.flash["config"].replace('"', "")

    def make_and_drop_a_boot_store(self):
        name = f"store{self.number(10)}"
        self.client.call("/loader", "addConfig", name)
        self.client.call(f"/loader/{name}", "syncSet", "soak", "1")
        assert self.client.call("/loader", "getEnv", "soak") == "1"
        assert self.client.call("/loader", "delConfig", name)
        assert name not in self.client.children("/loader")

    def upload_a_package_and_delete_it(self):
        before = self.firmwares()
        web.upload(self.device, self.package, "update.qmz", kind="fwupdate")
        self.device.wait_for(lambda: len(self.firmwares()) > len(before), what="the package to be taken")
        (new,) = self.firmwares() - before
        self.client.call(new, "deleteFw")
        assert self.firmwares() == before
        assert not self.device.exists(f"/srv/fwupdate/{os.path.basename(new)}")

    def upload_what_is_no_package(self):
        events = len(platform_calls(self.device, "SystemEvent.firmwareUpdate"))
        web.upload(self.device, b"no package", "update.qmz", kind="fwupdate")
        told = self.device.wait_for(
            lambda: platform_calls(self.device, "SystemEvent.firmwareUpdate")[events + 1 :], what="the refusal"
        )
        assert told[0][0] == 0
        self.refused += 1

    def firmwares(self):
        return {entry["path"] for entry in json.loads(self.client.call("/loader", "jsonFwUpdates"))}

    def keep_a_certificate_and_delete_it(self):
        web.upload(self.device, os.urandom(1000), "report.pdf")
        self.device.wait_for(lambda: self.device.exists("/srv/certificates/report.pdf"), what="the certificate")
        assert self.client.call("/system", "deleteAllCertificates") == 1

    def back_up_the_plc_and_restore_it(self):
        archive = str(self.client.call("/loader", "createCodesysTarball", interface=LOADER, limit=60))
        assert archive
        shell(self.device, "rm /srv/codesys/Pump.app")
        assert self.client.call("/loader", "restoreCodesysFromTarball", archive, interface=LOADER, limit=60)
        assert "Application.1=Pump\n" in self.device.read(CONFIGURATION)
        assert self.device.exists("/srv/codesys/Pump.app")
        self.device.wait_runtime(True)

    def restart_the_plc(self):
        self.client.call("/loader", "restartCodesys", interface=LOADER)
        self.client.ping()
        self.device.wait_runtime(True)

    def configure_the_log(self):
        size = self.number(1000)
        self.client.set("/system/syslog", "local.LogConfig", "log_size_kb", size)
        self.client.set("/system/syslog", "local.LogConfig", "log_local", self.random.random() < 0.5)
        assert f'SIZE="-s {size}"' in self.device.read("/etc/syslog.conf")

    def choose_a_time_zone(self):
        zone = self.random.choice(["UTC", "Europe/Berlin", "Asia/Kolkata", "America/New_York"])
        self.client.set("/system/time", "local.Systemtime", "timezone", zone)
        assert self.client.get("/system/time", "local.Systemtime", "timezone") == zone
        assert shell(self.device, "readlink /etc/localtime").strip().endswith(zone)

    def look_at_the_clock(self):
        assert json.loads(self.client.call("/system/time", "jsonTimeinfo"))
        assert json.loads(self.client.call("/system/time", "jsonTimezones"))
        self.client.call("/system/time", "systemTimeToHwClock")
        assert self.client.call("/system/time", "getHwTimeAsText")

    def set_a_time_server(self):
        server = f"10.2.0.{self.number(250)}"
        self.client.call("/system/time/ntp", "setNtpServer", server)
        assert f"server {server} " in self.device.read("/var/run/ntp/ntp.conf")

    def configure_the_can_port(self):
        rate = self.random.choice([125_000, 250_000, 500_000, 1_000_000])
        self.client.set("/system/can", "local.CanInterface", "baudrate", rate)
        self.client.set("/system/can", "local.CanInterface", "termination", self.random.random() < 0.5)
        assert self.client.call("/system/can", "getActualBaudrate") == rate

    def signal_with_the_leds(self):
        effects = len(platform_calls(self.device, "SysCfgAccess.startLedEffect"))
        seconds = self.number(100)
        self.client.call("/system", "remoteMeascardLedSingaling", seconds, "127.0.0.1")  # by its own web server
        told = self.device.wait_for(
            lambda: platform_calls(self.device, "SysCfgAccess.startLedEffect")[effects:], what="the LEDs"
        )
        assert told[0][0] == seconds

    def disable_a_password(self):
        code = 0x10000 + self.number(60)
        self.client.call("/system", "setPwDisable", dbus.UInt32(code), signature="u")
        assert self.client.call("/system", "getPwDisable") == code

    def reset_a_password_with_nonsense(self):
        self.device.write("/tmp/reset", "no signature")
        assert not self.client.call("/system", "resetWebPassword", "/tmp/reset", limit=60)

    def keep_a_setting_of_the_pages(self):
        value = str(self.number())
        self.client.call("/system/guiLevel1", "syncSet", "soak", value)
        assert f"soak={value}\n" in self.device.read("/etc/guiLevel1")

    def look_at_everything(self):
        for path in self.client.paths():
            for name, interface in self.client.interfaces(path).items():
                if interface.find("property") is not None:
                    assert self.client.get_all(path, name)

    def ask_for_what_is_not_there(self):
        assert self.client.error_of("/system", "nothing", "x" * 10_000) == "UnknownMethod"
        assert self.client.error_of("/nothing", "get", "x") == "UnknownObject"

    def come_and_go(self):
        with BusClient(self.device) as other:
            other.ping()


OPERATIONS = [
    operation for name, operation in vars(User).items() if callable(operation) and "_" in name and name[0] != "_"
]


@pytest.mark.slow(seconds=SHORT[1])
def test_a_device_in_use_holds_in_the_end_what_it_held_in_the_beginning(new_device, package, long_form):
    seed = random.randrange(1_000_000)
    print("seed", seed)
    new_device.start(env=SPARING)
    new_device.install_runtime()
    with BusClient(new_device) as client:
        client.set("/loader", LOADER, "onlyUploadFirmware", True)
        user = User(new_device, client, package, seed)
        for operation in OPERATIONS * 2:
            operation(user)
        before, refused = Footprint.of(new_device), user.refused

        rate, seconds = LONG if long_form else SHORT
        use(user, rate, seconds)

    assert_back_to(before, new_device, GROWTH_KIB + (user.refused - refused) * REFUSED_KIB)


def use(user, rate, seconds):
    """Has the user do something `rate` times a second, and prints what the daemon holds from time to time."""
    begin = time.monotonic()
    for number in range(rate * seconds):
        time.sleep(max(0, begin + number / rate - time.monotonic()))
        if number % (rate * REPORT_S) == 0:
            print(f"{number} operations: {Footprint.of(user.device)}")
        user.random.choice(OPERATIONS)(user)
    print(f"{rate * seconds} operations: {Footprint.of(user.device)}")
