"""Each tool that the daemon starts fails in every way, in each operation that needs it."""

import os
import threading
import zlib

import pytest
from expectations import differences
from insidetools import SPARING, resident_kib
from operations import OPERATIONS, Bench, Operation

# The short form takes so many of the ways.
SHORT = 3

MEMORY_KIB = 40 * 1024

NOISE = bytes(range(256)) * 400
RUNS = "/run/runs"
GO = "/run/go"

# How a tool fails: the script in its place, or nothing. What does its work all the same ends with ORIGINAL.
ORIGINAL = 'exec "$0.original" "$@"'
WAYS = {
    "missing": None,
    "not executable": "exit 0",
    "damaged": None,
    "fails": "exit 1",
    "is killed": "kill -9 $$",
    "is silent": "exit 0",
    "is slow": f"echo >{RUNS}; while [ ! -e {GO} ]; do sleep 0.02; done; {ORIGINAL}",
    "prints 100 MB": f"yes | head -c 100000000; {ORIGINAL}",
    "prints bytes": f"cat /opt/noise; {ORIGINAL}",
}
WORKING = [way for way, script in WAYS.items() if script and script.endswith(ORIGINAL)]

# What these print goes where the daemon's own lines go, so they print less.
FORWARDED = ("gpg", "ifdown", "ifconfig", "ifup")

# Of these the daemon reads what they print, or tar does.
READ = ("date", "hwclock", "canconfig", "md5sum", "route", "gzip")

TOOLS = {
    "/usr/sbin/bareboxenv": ("boot variable", "boot environment, read"),
    "/usr/sbin/flash_eraseall": ("boot variable", "update"),
    "/usr/bin/tar": ("firmware", "PLC backup", "PLC restored"),
    "/usr/bin/gzip": ("firmware", "PLC backup"),
    "/usr/bin/md5sum": ("firmware",),
    "/usr/bin/mv": ("firmware",),
    "/usr/bin/rm": ("firmware, removed", "boot environment, read"),
    "/usr/bin/wget": ("firmware, loaded",),
    "/usr/sbin/route": ("port, read",),
    "/usr/bin/gpg": ("password",),
    "/usr/sbin/shutdown": ("update",),
    "/usr/bin/sh": ("start after an update",),
    "/usr/bin/date": ("reading",),
    "/usr/sbin/hwclock": ("reading", "clock"),
    "/usr/sbin/ifdown": ("CAN bit rate",),
    "/usr/sbin/ifconfig": ("CAN bit rate",),
    "/usr/sbin/ifup": ("CAN bit rate",),
    "/usr/sbin/canconfig": ("reading",),
}


def be_updated(bench):
    bench.remove("/srv/public/a")
    bench.write("/srv/fwupdate/fwupdate7/public/a", "from the firmware's maker")
    bench.write("/srv/nodekeep/update", "NAND_UPDATE=fwupdate7\n")


def start_anew(bench):
    bench.stop()
    bench.start()


ALL = {**OPERATIONS, "start after an update": Operation(start_anew, be_updated)}
CASES = [(tool, operation) for tool, operations in TOOLS.items() for operation in operations]


@pytest.fixture(scope="module")
def module_bench(module_device, small_package):
    """A device in use whose daemon gives freed memory back at once."""
    module_device.stop_daemon()
    bench = Bench(module_device, SPARING, small_package)
    bench.prepare()
    bench.write("/opt/noise", NOISE)
    bench.start()
    yield bench
    bench.close()


@pytest.fixture
def bench(device, module_bench):
    return module_bench


class FailingTool:
    """A tool that fails in a way, from entering to leaving the context."""

    def __init__(self, bench, tool, way):
        self.bench = bench
        self.tool = tool
        self.way = way

    def __enter__(self):
        path = self.bench.path(self.tool)
        os.rename(path, f"{path}.original")
        if self.way == "missing":
            return
        script = WAYS[self.way]
        if script and os.path.basename(self.tool) in FORWARDED:
            script = script.replace("100000000", "1000000")
        # Not by a shell that may be the tool that fails.
        self.bench.write(self.tool, f"#!/usr/bin/dash\n{script}\n" if script else b"\x7fELF, but no more")
        os.chmod(path, 0o644 if self.way == "not executable" else 0o755)
        if self.way == "is slow":
            self.helper = threading.Thread(target=self.let_go)
            self.helper.start()

    def __exit__(self, *exception):
        path = self.bench.path(self.tool)
        os.rename(f"{path}.original", path)
        if self.way == "is slow":
            self.helper.join()
            self.bench.remove(RUNS, GO)

    def let_go(self):
        """Ends the wait once the tool runs."""
        try:
            self.bench.device.wait_for(lambda: self.bench.has(RUNS), what=f"{self.tool} to run")
        finally:
            self.bench.write(GO, "")


def ways_for(tool, operation, long_form):
    ways = list(WAYS)
    if long_form:
        return ways
    first = zlib.crc32(f"{tool} {operation}".encode()) % len(ways)
    return [ways[(first + SHORT * number) % len(ways)] for number in range(SHORT)]


@pytest.mark.parametrize(("tool", "name"), CASES, ids=[f"{os.path.basename(tool)}-{name}" for tool, name in CASES])
def test_an_operation_survives_a_tool_that(bench, tool, name, long_form, record_property):
    operation = ALL[name]
    operation.reset(bench)
    operation.do(bench)
    operation.reset(bench)
    before = operation.seen(bench, lambda bench: None)
    without = operation.seen(bench, operation.do)
    wrong = []

    ways = ways_for(tool, name, long_form)
    record_property("faults", len(ways))
    for way in ways:
        operation.reset(bench)
        held = bench.holds()
        memory = resident_kib(bench.device)
        with FailingTool(bench, tool, way):
            got = operation.seen(bench, operation.do)
        does_its_work = way in WORKING and not (way != "is slow" and os.path.basename(tool) in READ)
        found = differences("" if does_its_work else name, f"execve {tool}", before, without, got)
        if found:
            wrong.append((way, found))
        bench.device.wait_for(lambda: bench.holds_no_more(held), what=f"{tool} that {way} to leave nothing behind")
        assert resident_kib(bench.device) - memory < MEMORY_KIB

    operation.reset(bench)
    assert operation.seen(bench, operation.do) == without
    assert wrong == []
