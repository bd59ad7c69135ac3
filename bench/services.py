"""The daemon and the services that it is measured beside, as programs on the bus of a device without any other job."""

import contextlib
import os
import signal
import subprocess
import time
import typing

PROGRAMS = os.environ.get("BENCH_PROGRAMS", "")
PEERS = os.environ.get("BENCH_PEERS", "")  # where the packages are that are only unpacked

GET = ("org.freedesktop.DBus.Properties", "Get")


class Service(typing.NamedTuple):
    label: str
    command: list
    question: tuple  # name, path, interface, member and texts of the call that it is asked


NODEKEEP = Service(
    "nodekeep", ["/usr/sbin/nodekeep"], ("com.ozt.nodekeep", "/version", *GET, "local.Version", "version")
)
MINIMAL = Service(
    "minimal QtDBus service",
    [f"{PROGRAMS}/MinimalService"],
    ("com.ozt.minimal", "/version", *GET, "local.MinimalService", "version"),
)
MINIMAL_SDBUS = Service(
    "minimal sd-bus service",
    [f"{PROGRAMS}/MinimalSdBusService"],
    ("com.ozt.minimal.sdbus", "/version", *GET, "local.MinimalService", "version"),
)
HOSTNAMED = Service(
    "systemd-hostnamed",
    ["/usr/lib/systemd/systemd-hostnamed"],
    ("org.freedesktop.hostname1", "/org/freedesktop/hostname1", *GET, "org.freedesktop.hostname1", "Hostname"),
)
TIMEDATED = Service(
    "systemd-timedated",
    ["/usr/lib/systemd/systemd-timedated"],
    ("org.freedesktop.timedate1", "/org/freedesktop/timedate1", *GET, "org.freedesktop.timedate1", "Timezone"),
)
CONNMAN = Service(
    "connmand",
    ["/usr/sbin/connmand", "--nodaemon", "--nodnsproxy"],
    ("net.connman", "/", "net.connman.Manager", "GetProperties"),
)
RAUC_CONFIGURATION = "/etc/rauc.conf"
RAUC = Service(
    "rauc service",
    [f"{PEERS}/usr/bin/rauc", f"--conf={RAUC_CONFIGURATION}", "--override-boot-slot=A", "service"],
    ("de.pengutronix.rauc", "/", *GET, "de.pengutronix.rauc.Installer", "Operation"),
)


def all_peers():
    """Those that can be started here."""
    os.makedirs("/run/connman", exist_ok=True)
    with open(RAUC_CONFIGURATION, "w", encoding="ascii") as file:
        file.write("[system]\ncompatible=bench\nbootloader=noop\n[slot.rootfs.0]\ndevice=/dev/null\nbootname=A\n")
    peers = [MINIMAL, MINIMAL_SDBUS, HOSTNAMED, CONNMAN]
    return peers + [RAUC] if os.path.exists(RAUC.command[0]) else peers


def client(*words, environment=None):
    """What BusClient answers, as a list of words."""
    given = {**os.environ, **(environment or {})}
    command = [f"{PROGRAMS}/BusClient", *map(str, words)]
    return subprocess.run(command, env=given, stdout=subprocess.PIPE, text=True, check=True).stdout.split()


class Process:
    """What a process of this device has used so far, of all its threads; those that have ended count no more."""

    def __init__(self, pid):
        self.pid = pid

    def processor_seconds(self):
        return sum(int(words.split()[0]) for words in self.of_threads("schedstat")) / 1e9

    def wake_ups(self):
        """How often its threads were given a processor."""
        return sum(int(words.split()[2]) for words in self.of_threads("schedstat"))

    def of_threads(self, name):
        threads = os.listdir(f"/proc/{self.pid}/task")
        for thread in threads:
            with contextlib.suppress(FileNotFoundError), open(f"/proc/{self.pid}/task/{thread}/{name}") as file:
                yield file.read()

    def settle(self, still):
        """Waits until it has had nothing to do for so many seconds."""
        end = time.monotonic() + 60
        before = None
        while (now := self.wake_ups()) != before:
            if time.monotonic() > end:
                raise TimeoutError(f"process {self.pid} does not come to rest")
            before = now
            time.sleep(still)

    def own_kib(self):
        """Its private dirty memory. The device's own programs lie in memory, where pages count as dirty that nobody has
        changed: what counts here is what the process has written."""
        with open(f"/proc/{self.pid}/smaps_rollup", encoding="ascii") as rollup:
            return next(int(line.split()[1]) for line in rollup if line.startswith("Anonymous:"))


class Running(Process):
    """A service from its start to its end. Process 1 is its parent."""

    def __init__(self, service, environment=None):
        self.question = service.question
        answer = client("start", *service.question, "--", *service.command, environment=environment)
        self.start_seconds = float(answer[0])
        super().__init__(int(answer[1]))

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.pid, signal.SIGTERM)
            while True:
                os.kill(self.pid, 0)
                time.sleep(0.001)

    def single_seconds(self, count):
        """How long a call takes, the median of so many."""
        return float(client("single", count, *self.question)[0])

    def pipelined_seconds(self, count):
        """How long a call takes when a hundred are under way, the mean of so many."""
        return float(client("pipelined", count, *self.question)[0])
