"""A device as a bus client sees it who deals in firmware."""

import contextlib
import json
import subprocess

import simdevice
import web
from busclient import SERVICE
from insidetools import SHADOWED_PATH, platform_calls

MANAGER = ("/loader", "local.FwUpdateSettings")


class FirmwareDevice(simdevice.SimulatedDevice):
    """Calls go through busctl inside the device, so they are what a shell user can do too."""

    def busctl(self, *args):
        return self.exec(["busctl", "--json=short", *args], check=True).stdout

    def call(self, path, interface, method, signature="", *args):
        """The first value of the answer, None for an empty one."""
        answer = self.busctl("--timeout=60", "call", SERVICE, path, interface, method, signature, *args)
        return json.loads(answer)["data"][0] if answer.strip() else None

    def call_to_the_end(self, *call):
        """A call that has the device reboot, which may come ahead of the answer."""
        with contextlib.suppress(subprocess.CalledProcessError):
            self.call(*call)

    def get(self, path, interface, name):
        return json.loads(self.busctl("get-property", SERVICE, path, interface, name))["data"]

    def set(self, path, interface, name, signature, value):
        self.busctl("set-property", SERVICE, path, interface, name, signature, value)

    def tree(self):
        return self.busctl("--list", "tree", SERVICE).split()

    def start_with_shadows(self, path=SHADOWED_PATH):
        """Starts the daemon anew so that it finds the shadows."""
        self.stop_daemon()
        self.start_daemon(env={"PATH": path})
        self.keep_uploads()

    def start_without(self, *missing):
        """Starts the daemon anew with few tools, which stand in /opt/few, and those not among them."""
        tools = {"rm", "mv", "sh", "bareboxenv", "flash_eraseall", "tar", "gzip", "md5sum", "wget"} - set(missing)
        links = f"mkdir -p /opt/few && for t in {' '.join(tools)}; do ln -s $(which $t) /opt/few/; done"
        self.exec(["sh", "-c", links], check=True)
        self.start_with_shadows("/opt/few")

    def keep_uploads(self):
        self.set(*MANAGER, "onlyUploadFirmware", "b", "true")

    def announce(self, path, name="update.qmz"):
        self.busctl("emit", "/", "com.ozt.httpdata", "fileUploaded", "ss", path, name)

    def upload(self, package, name="update.qmz"):
        """Uploads a package through the device's web server; the result is where that has put it."""
        return web.upload(self, package, name, kind="fwupdate")

    def listed(self):
        """The names in the firmware list, in order and as often as they stand there."""
        return [name for name, _ in self.list_entries()]

    def records(self):
        """The firmware list, by directory name."""
        return dict(self.list_entries())

    def list_entries(self):
        objects = json.loads(self.call(*MANAGER, "jsonFwUpdates"))
        return [(entry["path"].rpartition("/")[2], entry) for entry in objects]

    def told(self):
        """What users were told of firmware so far: event numbers, and LED effects as pairs of seconds and effect."""
        stories = {"SystemEvent.firmwareUpdate": lambda args: args[0], "SysCfgAccess.startLedEffect": tuple}
        return [stories[line["call"]](line["args"]) for line in self.platform_log() if line["call"] in stories]

    def wait_told(self, expected, limit=60):
        """Waits until users were told all of `expected`, and nothing else."""
        try:
            self.wait_for(lambda: len(self.told()) >= len(expected), limit, f"{expected}")
        except TimeoutError:
            pass  # the comparison says more
        assert self.told() == expected

    def reboots_told(self):
        """The arguments of the events that announced a reboot so far."""
        return platform_calls(self, "SystemEvent.reboot")

    def wait_boots(self, count):
        """Waits until the device has booted that often, the start included, and its daemon answers."""
        self.wait_for(lambda: self.boots == count, 30, f"boot {count}")
        self.wait_daemon()

    def flags(self):
        """What the manager tells of the way through an update."""
        return {name: self.get(*MANAGER, name) for name in ("factoryInit", "fwUpdated", "updateFailed")}

    def firmware_directories(self):
        return sorted(self.exec(["sh", "-c", "ls /srv/fwupdate 2>/dev/null"]).stdout.split())


# What users are told of a package that is taken, and of one that tar refuses.
TAKEN = [1, (60, 5), 2, 3, 4]
NOT_UNPACKED = [1, (60, 5), (10, 1), 0]
