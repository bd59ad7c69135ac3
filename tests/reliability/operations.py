"""What clients have the daemon do, each from a known state, and all that can be seen of it afterwards."""

import dataclasses
import glob
import json
import os
import re
import shutil
import tarfile
import typing

import dbus
import dbus.lowlevel
import flashimage
from busclient import BusClient
from insidetools import shell
from plcdevice import CONFIGURATION, FILES

LOADER = "/loader"
PEER = "org.freedesktop.DBus.Peer"
PLC = "/srv/codesys"
RESET_FILE = "/tmp/reset.asc"

# Where files are looked at, and of /etc nothing but its plain files.
TREES = ("etc/network", "etc/ssh", "CODESYSControl", "run/bareboxenv", "run/ntp", "srv", "tmp")

# Told at another time than its operation's, by a timer.
LATE = "avahi_2dautoip"


class Bench:
    """A device with a daemon, and direct ways to its files."""

    def __init__(self, device, environment, package=b""):
        self.device = device
        self.environment = environment
        self.package = package
        # By a descriptor, as the number of its process may become another's.
        self.top = os.open(f"/proc/{device.init_pid}/root", os.O_PATH | os.O_DIRECTORY)
        self.root = f"/proc/self/fd/{self.top}"
        self.client = None
        self.daemon = None

    def prepare(self):
        """Puts in place what a device has that has been in use, before its daemon starts."""
        shell(self.device, "mkdir -p /CODESYSControl /srv/public /srv/fwupdate; echo -n 0 >/dev/canterm")
        for tool, script in (("bin/gpg", "exit 0"), ("bin/wget", 'cp /opt/package "$2"'), ("sbin/shutdown", "exit 0")):
            self.device.write(f"/usr/{tool}", f"#!/bin/sh\n{script}\n", mode="755")
        self.write("/opt/package", self.package)
        self.restore_plc()
        self.write("/var/lib/plcruntime/apps", 'as ["Pump"]')
        for key in ("dsa", "rsa"):
            self.write(f"/etc/ssh/ssh_host_{key}_key", f"{key}\n")
            self.write(f"/etc/ssh/ssh_host_{key}_key.pub", f"{key}, public\n")

    def start(self):
        self.device.start_daemon(env=self.environment)
        self.client = BusClient(self.device)
        self.daemon = self.device.daemon_pid

    def stop(self):
        if self.client:
            self.client.close()
        self.client = None
        self.device.stop_daemon()

    def close(self):
        if self.client:
            self.client.close()
        os.close(self.top)

    # Files

    def path(self, path):
        return self.root + path

    def has(self, path):
        return os.path.exists(self.path(path))

    def write(self, path, content):
        os.makedirs(os.path.dirname(self.path(path)), exist_ok=True)
        with open(self.path(path), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())

    def remove(self, *patterns):
        for path in (found for pattern in patterns for found in glob.glob(self.path(pattern))):
            if os.path.isdir(path):
                shutil.rmtree(path)
            else:
                os.remove(path)

    def restore_plc(self):
        for name, content in FILES.items():
            self.write(f"{PLC}/{name}", content)
        self.write(CONFIGURATION, "[SysFile]\na=b\n\n[CmpApp]\nApplication.1=Old\nx=y\n")

    def flash(self):
        """The boot environment in the flash, None when it has none."""
        try:
            return self.device.flash
        except flashimage.DamagedImage:
            return None

    def files(self):
        """All files that the daemon has to do with, path to content."""
        places = [(self.path("/etc"), next(os.walk(self.path("/etc")))[2])]
        for tree in TREES:
            places += [(place, names) for place, _, names in os.walk(self.path(f"/{tree}"))]
        paths = [os.path.join(place, name) for place, names in places for name in names] + [self.path("/dev/canterm")]
        return {path.removeprefix(self.root): content_of(path) for path in paths}

    # The daemon

    def call(self, path, method, *arguments, **options):
        return plain(self.client.call(path, method, *arguments, limit=60, **options))

    def emit(self, path, interface, name, *arguments):
        signal = dbus.lowlevel.SignalMessage(path, interface, name)
        signal.append(*arguments, signature="s" * len(arguments))
        self.client.connection.send_message(signal)
        self.settle()

    def announce(self, path, name):
        """Has the web server tell of an upload."""
        self.emit("/", "com.ozt.httpdata", "fileUploaded", path, name)

    def await_runtime(self):
        """Returns when the PLC runtime answers, once it has been told to start."""
        connection = self.client.connection
        # When the init system answers, it has come to the end of its queue.
        connection.call_blocking("com.ubuntu.Upstart", "/", PEER, "Ping", "", ())
        # The one before it may be on the bus for a moment yet, but answers no more.
        self.device.wait_for(self.runtime_answers, what="the PLC runtime")

    def runtime_answers(self):
        try:
            self.client.connection.call_blocking("com.ozt.codesys", "/", PEER, "Ping", "", ())
        except dbus.DBusException:
            return False
        return True

    def settle(self):
        """Returns when the daemon has nothing to do and runs no tool."""
        # Between two tools there is none for a moment, but then the next answer comes late.
        idle = 0
        while idle < 3:
            self.client.ping()
            idle = 0 if self.children() else idle + 1

    def children(self):
        found = []
        for thread in os.listdir(f"/proc/{self.daemon}/task"):
            with open(f"/proc/{self.daemon}/task/{thread}/children") as file:
                found += file.read().split()
        return found

    def holds(self):
        """How much the daemon has of what it must not leak: descriptors, threads, tools."""
        descriptors = os.listdir(f"/proc/{self.daemon}/fd")
        return len(descriptors), len(os.listdir(f"/proc/{self.daemon}/task")), len(self.children())

    def holds_no_more(self, before):
        return all(now <= then for now, then in zip(self.holds(), before))

    def told_so_far(self):
        with open(self.path("/var/log/qmz/platform.jsonl")) as file:
            return [json.loads(line) for line in file]


def content_of(path):
    if os.path.islink(path):
        return os.readlink(path)
    if path.endswith(".tar.gz"):
        return names_in(path)
    with open(path, "rb") as file:
        return file.read().decode(errors="replace")


def names_in(archive):
    try:
        with tarfile.open(archive) as tar:
            return tar.getnames()
    except tarfile.TarError:
        return None


def plain(value):
    if isinstance(value, dict):
        return {str(key): plain(each) for key, each in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(each) for each in value]
    return str(value) if isinstance(value, str) else int(value) if isinstance(value, int) else value


@dataclasses.dataclass
class Operation:
    """`prepare` makes the state that the operation starts from, with no fault; it may be the operation itself, with
    another value. `ask` is what a client can ask the daemon afterwards."""

    do: typing.Callable[[Bench], object]
    prepare: typing.Callable[[Bench], object] = lambda bench: None
    ask: typing.Callable[[Bench], object] = lambda bench: None

    def reset(self, bench):
        """Returns when the state is made and all that follows from it has been told."""
        self.prepare(bench)
        bench.settle()

    def seen(self, bench, action, after=lambda: None):
        """Everything that can be seen of an action: the answer, what users were told, the files. `after` is called
        when it has been done."""
        start = len(bench.told_so_far())
        answer = action(bench)
        bench.settle()
        after()
        told = [[entry["call"], *entry["args"]] for entry in bench.told_so_far()[start:]]
        answers = {f"answer: {name}": value for name, value in answer.items()} if isinstance(answer, dict) else {}
        return normal(
            {
                **(answers or {"answer": answer}),
                "asked": self.ask(bench),
                "told": [call for call in told if LATE not in call],
                "flash": bench.flash(),
                **bench.files(),
            }
        )


def normal(value):
    """A text without what is another one each time."""
    return json.loads(re.sub(r"(?<=/)[0-9a-f]{8}-[0-9a-f-]{27}|(?<=fwupdate)[0-9]+", "*", json.dumps(value)))


# Setting values


def value_set(path, interface, name, old, new):
    """The operation that writes a property."""

    def setting(value):
        return lambda bench: bench.client.set(path, interface, name, value)

    return Operation(setting(new), setting(old), lambda bench: plain(bench.client.get(path, interface, name)))


def port_saved(address):
    def save(bench):
        for name, value in (("ipaddress", address), ("netmask", "255.0.0.0"), ("dhcp", False)):
            bench.client.set("/system/network", "local.NetworkInterface", name, value)
        return bench.call("/system/network", "saveChanges")

    return save


def boot_variable_saved(value):
    def save(bench):
        bench.call(LOADER, "lookupConfig", "config")
        bench.call(LOADER, "setEnv", "console", value)
        bench.call(LOADER, "saveEnv")

    return save


def remove_new_store(bench):
    bench.call(LOADER, "delConfig", "new")
    bench.call(LOADER, "saveEnv")


def add_new_store(bench):
    bench.call(LOADER, "addConfig", "new")
    bench.call(LOADER, "saveEnv")


def loader_children(bench):
    return sorted(bench.client.children(LOADER))


# Uploads


def bring_upload(bench):
    bench.remove("/srv/a.pdf", "/srv/codesys.lic")
    bench.write("/srv/codesys/codesys.lic", "an older one")
    bench.write("/srv/certificates/a.pdf", "an older one")
    bench.write("/tmp/upload", "a new one")


def ask_for_password_reset(bench):
    bench.call("/system/guiLevel3", "syncSet", "pw", "secret")
    bench.write(RESET_FILE, "hostname=node-4711\nmac=00:11:22:33:44:55\n")


# Firmware


def records(bench):
    return json.loads(bench.call(LOADER, "jsonFwUpdates"))


def forget_firmware(bench):
    bench.client.set(LOADER, "local.FwUpdateSettings", "onlyUploadFirmware", True)
    for entry in records(bench):
        bench.call(entry["path"], "deleteFw")
    bench.remove("/srv/fwupdate/*", "/tmp/*fwupdate")


def bring_package(bench):
    forget_firmware(bench)
    bench.write("/tmp/1-fwupdate", bench.package)


def take_firmware(bench):
    bench.announce("/tmp/1-fwupdate", "update.qmz")


def have_firmware(bench):
    bring_package(bench)
    take_firmware(bench)


def be_ready_for_update(bench):
    if not records(bench):
        have_firmware(bench)
    bench.call("/system/network", "saveChanges")
    bench.remove("/srv/nodekeep")
    bench.call(LOADER, "delConfig", "update")
    bench.call(LOADER, "saveEnv")


def of_record(method):
    return lambda bench: bench.call(records(bench)[-1]["path"], method)


def load_firmware(bench):
    bench.call(LOADER, "startUpdateHttp", "http://device.example/package")
    bench.settle()


# The PLC runtime


def make_backup(bench):
    return bench.call(LOADER, "createCodesysTarball")


def remove_backups(bench):
    bench.restore_plc()
    bench.remove("/tmp/*.tar.gz", "/srv/codesys/qmz.cfg")


def have_backup(bench):
    bench.call(LOADER, "restartCodesys")
    bench.await_runtime()
    remove_backups(bench)
    os.rename(bench.path(make_backup(bench)), bench.path("/tmp/backup.tar.gz"))
    bench.remove("/srv/codesys/recipe.txt")


def restore_backup(bench):
    return bench.call(LOADER, "restoreCodesysFromTarball", "/tmp/backup.tar.gz")


def read_all(bench):
    """What is read anew each time."""
    time_info = json.loads(bench.call("/system/time", "jsonTimeinfo"))
    return {
        "zones": len(bench.call("/system/time", "jsonTimezones")) > 10_000,
        "time": len(bench.call("/system/time", "getSytemTimeAsText")) > 20,
        "clock": len(bench.call("/system/time", "getHwTimeAsText")) > 20,
        "uptime": sorted(time_info),
        "bit rate": bench.call("/system/can", "getActualBaudrate"),
        "termination": bench.call("/system/can", "getCanTerm"),
        "host name": plain(bench.client.get("/system", "local.System", "hostname")),
        "zone": plain(bench.client.get("/system/time", "local.Systemtime", "timezone")),
    }


OPERATIONS = {
    "host name": value_set("/system", "local.System", "hostname", "node-4711", "node-4712"),
    "time server": value_set("/system/time/ntp", "local.NtpConfig", "server", "time-1", "time-2"),
    "system log": value_set("/system/syslog", "local.LogConfig", "remote_log_target", "host-1", "host-2"),
    "time zone": value_set("/system/time", "local.Systemtime", "timezone", "Europe/Berlin", "Europe/Rome"),
    "CAN bit rate": value_set("/system/can", "local.CanInterface", "baudrate", 250_000, 500_000),
    "CAN termination": value_set("/system/can", "local.CanInterface", "termination", False, True),
    "clock": Operation(lambda bench: bench.call("/system/time", "systemTimeToHwClock")),
    "port": Operation(port_saved("10.0.0.2"), port_saved("10.0.0.1")),
    "port, read": Operation(lambda bench: bench.call("/system/network", "getCurrentSettings")),
    "boot variable": Operation(boot_variable_saved("ttyS2"), boot_variable_saved("ttyS1")),
    "boot environment, read": Operation(lambda bench: bench.call(LOADER, "loadEnv")),
    "store, added": Operation(add_new_store, remove_new_store, loader_children),
    "store, removed": Operation(lambda bench: bench.call(LOADER, "delConfig", "new"), add_new_store, loader_children),
    "store, saved": Operation(
        lambda bench: bench.call("/system/guiLevel1", "syncSet", "colour", "green"),
        lambda bench: bench.call("/system/guiLevel1", "syncSet", "colour", "blue"),
        lambda bench: bench.call("/system/guiLevel1", "get", "colour"),
    ),
    "licence": Operation(lambda bench: bench.announce("/tmp/upload", "codesys.lic"), bring_upload),
    "certificate": Operation(lambda bench: bench.announce("/tmp/upload", "a.pdf"), bring_upload),
    "certificates, removed": Operation(lambda bench: bench.call("/system", "deleteAllCertificates"), bring_upload),
    "password": Operation(lambda bench: bench.call("/system", "resetWebPassword", RESET_FILE), ask_for_password_reset),
    "PLC backup": Operation(make_backup, remove_backups),
    "PLC restored": Operation(restore_backup, have_backup),
    "PLC reset": Operation(lambda bench: bench.call("/system", "resetCodesys"), Bench.restore_plc),
    "firmware": Operation(take_firmware, bring_package, records),
    "firmware, loaded": Operation(load_firmware, forget_firmware, records),
    "firmware, removed": Operation(of_record("deleteFw"), have_firmware, records),
    "update": Operation(of_record("startUpdate"), be_ready_for_update),
    "reading": Operation(read_all),
}
