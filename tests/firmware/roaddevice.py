"""A device with a life of its own, to be taken through an update: all that its owner has set, and a look at it."""

import json
import typing

from busclient import SERVICE
from firmwaredevice import FirmwareDevice
from insidetools import addresses

RECORD_INTERFACE = "local.NandUpdate"
STORE = "/srv/nodekeep"
LINK = "/srv/public/docs/manual.txt"

OWN_FILES = {
    "/etc/ssh/ssh_host_dsa_key": ("dsa secret\n", "600"),
    "/etc/ssh/ssh_host_dsa_key.pub": ("dsa public\n", "644"),
    "/etc/ssh/ssh_host_rsa_key": ("rsa secret\n" * 1000, "600"),
    "/etc/ssh/ssh_host_rsa_key.pub": ("rsa public\n", "640"),
    "/srv/codesys/Main.app": ("main", None),
    "/srv/codesys/Visu.app": ("visu", None),
    "/srv/public/own.txt": ("the owner's\n", None),
    "/srv/public/docs/readme.txt": ("the owner's\n", None),
}
STORES = ("guiLevel1", "guiLevel2", "guiLevel3", "guiSystem")
INTERFACES = "/etc/network/interfaces"
CARRIED = [
    "/etc/hostname",
    INTERFACES,
    "/etc/syslog.conf",
    "/etc/variables",
    *(f"/etc/{name}" for name in STORES),
    *(path for path in OWN_FILES if path.startswith("/etc/")),
]
PUBLIC = {"docs/manual.txt": "of the new firmware\n", "docs/readme.txt": "not to be seen\n", "app/index.html": "<p>\n"}


class Settings(typing.NamedTuple):
    """What an owner would miss. Compared as a whole."""

    files: dict  # path to permissions and content
    host_name: str
    plc_applications: list
    addresses: list  # of the port


class RoadDevice(FirmwareDevice):
    def settle(self):
        """Sets all that an update must carry."""
        # The first lease, when it is read, overwrites what has not been applied yet.
        self.wait_for(lambda: self.get("/system/network", "local.NetworkInterface", "ipaddress"), 20, "a lease")
        for path, (content, mode) in OWN_FILES.items():
            self.write(path, content, mode=mode)
        self.write(
            PLC_CONFIGURATION, "[CmpApp]\nApplication.1=Main\nApplication.2=Visu\nBootproject.RetainMismatch.Init=1\n"
        )
        self.set("/system", "local.System", "hostname", "s", "mill-7")
        self.set("/system/syslog", "local.LogConfig", "remote_log_target", "s", "192.168.10.9:514")
        for name in STORES:
            self.call(f"/system/{name}", "local.BareboxConfig", "syncSet", "ss", "pw", f"secret of {name}")
        self.call("/system/variables", "local.BareboxConfig", "syncSet", "ss", "ROOM", '"hall 3"')
        for name, kind, value in [
            ("ipaddress", "s", "192.168.10.7"),
            ("netmask", "s", "255.255.255.0"),
            ("gateway", "s", "192.168.10.1"),
            ("nameserver", "s", "192.168.10.2"),
            ("dhcp", "b", "false"),
        ]:
            self.set("/system/network", "local.NetworkInterface", name, kind, value)
        assert self.call("/system/network", "local.NetworkInterface", "saveChanges")
        self.wait_for(lambda: addresses(self) == ["192.168.10.7/24"], 20, "the static address")

    def take_in(self, package):
        """Uploads a package and waits until it is kept as fwupdate0."""
        self.keep_uploads()
        self.upload(package)
        self.wait_for(lambda: self.listed() == ["fwupdate0"], 20, "the record")

    def settings(self):
        return Settings(
            {path: self.mode_and_content(path) for path in CARRIED},
            self.get("/system", "local.System", "hostname"),
            json.loads(self.busctl("call", "com.ozt.codesys", "/", "com.ozt.codesys", "apps"))["data"][0],
            addresses(self),
        )

    def mode_and_content(self, path):
        result = self.exec(["sh", "-c", 'stat -c %a "$1" && cat "$1"', "sh", path])
        return result.stdout if result.returncode == 0 else None

    def version(self):
        return self.get("/system", "local.System", "oztversion")

    def is_ordinary(self):
        """Whether the device runs as on any other day: nothing of an update is left."""
        flags = self.flags().values()
        return not any(flags) and not self.exists("/new_firmware") and not self.exists(f"{STORE}/update")

    def left_in_store(self):
        return self.exec(["ls", STORE]).stdout.split()

    def link_count(self, path):
        return int(self.exec(["stat", "-c", "%h", path], check=True).stdout)


PLC_CONFIGURATION = "/CODESYSControl/CODESYSControl.cfg"
START_UPDATE = ["busctl", "call", SERVICE, "/loader/fwupdate0", RECORD_INTERFACE, "startUpdate"]
