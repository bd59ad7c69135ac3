"""The intake of a firmware package, beside the same work done by hand in a shell."""

import json
import os
import shutil
import subprocess
import time

import dbus
import dbus.lowlevel
from rounds import Row, in_turns, seconds_of
from services import NODEKEEP, Running

KEEPS_FILES = True
PLACE = "/srv/package"
UPLOAD = "/srv/upload-fwupdate"
MEBIBYTES = 64
BY_HAND = """
mkdir /srv/by-hand && tar -C /srv/by-hand -xzf "$1" && rm "$1" && cd /srv/by-hand &&
md5sum firmware/linuximage >/dev/null && md5sum firmware/root.ubi >/dev/null && mv firmware fwupdate0
"""
MAKE_PACKAGE = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../device/mkpackage")


def measure(_quick):
    package = make_package(MEBIBYTES)
    with Running(NODEKEEP):
        manager = Manager()

        def intake():
            shutil.copy(package, UPLOAD)
            seconds = seconds_of(manager.take_upload)
            manager.call("cleanupFirmwareUpdates")
            return seconds

        def by_hand():
            shutil.copy(package, UPLOAD)
            seconds = seconds_of(lambda: subprocess.run(["sh", "-c", BY_HAND, "sh", UPLOAD], check=True))
            shutil.rmtree("/srv/by-hand")
            return seconds

        values = in_turns(7, {"nodekeep": intake, "the same in a shell": by_hand})
    return [Row("intake", f"{MEBIBYTES} MiB", "s", values)]


def make_package(mebibytes):
    """Of random bytes, which no packer makes smaller."""
    os.makedirs(PLACE, exist_ok=True)
    images = {"linuximage": mebibytes // 8, "root": mebibytes - mebibytes // 8}
    options = ["--version=4.3", f"--output={PLACE}/package"]
    for name, size in images.items():
        with open(f"{PLACE}/{name}", "wb") as file:
            for _ in range(size):
                file.write(os.urandom(1 << 20))
        options.append(f"--{name}={PLACE}/{name}")
    subprocess.run([MAKE_PACKAGE, *options], stdout=subprocess.DEVNULL, check=True)
    return f"{PLACE}/package"


class Manager:
    """The update manager on the bus, told to keep what it takes in."""

    def __init__(self):
        self.bus = dbus.SystemBus()
        self.call("Set", "ssv", "local.FwUpdateSettings", "onlyUploadFirmware", True, interface=dbus.PROPERTIES_IFACE)

    def call(self, method, signature="", *values, interface="local.FwUpdateSettings"):
        message = dbus.lowlevel.MethodCallMessage("com.ozt.nodekeep", "/loader", interface, method)
        message.append(*values, signature=signature)
        return self.bus.send_message_with_reply_and_block(message, 120.0).get_args_list()

    def records(self):
        return json.loads(self.call("jsonFwUpdates")[0])

    def take_upload(self):
        known = len(self.records())
        signal = dbus.lowlevel.SignalMessage("/", "com.ozt.httpdata", "fileUploaded")
        signal.append(UPLOAD, "update.qmz", signature="ss")
        self.bus.send_message(signal)
        self.bus.flush()
        while len(self.records()) == known:
            time.sleep(0.002)
