"""The daemon's open files stay as many as they are, whatever clients have it do."""

import dbus
from footprint import Footprint
from networkclient import NetworkClient

ROUND = {
    "a variable file": lambda client: client.call("/system/guiLevel1", "syncSet", "user", "1"),
    "the boot environment": lambda client: client.call("/loader", "saveEnv"),
    "a constant": lambda client: client.call("/system/constants", "set", "name", "1"),
    "a host name": lambda client: client.set("/system", "local.System", "hostname", f"node-{next_number()}"),
    "a refused host name": lambda client: client.set("/system", "local.System", "hostname", "no name"),
    "the system log": lambda client: client.set("/system/syslog", "local.LogConfig", "log_size_kb", dbus.Int32(7)),
    "a time server": lambda client: client.set("/system/time/ntp", "local.NtpConfig", "server", "10.1.2.3"),
    "the clocks": lambda client: client.call("/system/time", "getHwTimeAsText"),
    "the uptime": lambda client: client.call("/system/time", "jsonTimeinfo"),
    "the zones": lambda client: client.call("/system/time", "jsonTimezones"),
    "the rate of the CAN port": lambda client: client.call("/system/can", "getActualBaudrate"),
    "the CAN port": lambda client: client.set("/system/can", "local.CanInterface", "baudrate", dbus.Int32(500000)),
    "the port": lambda client: NetworkClient(client).save(),
    "a password": lambda client: client.call("/system", "resetWebPassword", "/etc/hostname"),
    "a backup of the PLC": lambda client: client.call("/loader", "createCodesysTarball"),
    "a restore of the PLC": lambda client: client.call("/loader", "restoreCodesysFromTarball", "/tmp/none"),
    "certificates": lambda client: client.call("/system", "deleteAllCertificates"),
    "platform events": lambda client: client.call("/testsystemevent", "reboot", "/"),
}
numbers = iter(range(1_000_000))


def next_number():
    return next(numbers)


def open_files(device):
    return sum(Footprint.of(device).descriptors.values())


def test_repeated_use_leaves_no_descriptor_behind(own_device, own_client):
    def work(rounds):
        for _ in range(rounds):
            for call in ROUND.values():
                call(own_client)

    work(2)
    before = open_files(own_device)

    work(10)

    own_device.wait_for(lambda: open_files(own_device) <= before, 10, f"the daemon to have {before} open files again")
