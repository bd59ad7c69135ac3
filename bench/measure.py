#!/usr/bin/python3 -B
"""Takes the measurements, each on a simulated device of its own, and prints them as a table.

bench/run starts it with all that it needs in place. The module of a kind of measurement, in figures/, says what it
needs: PINNED one processor for bus, service and client; KEEPS_FILES the disk; NETWORK a whole device with connman;
DEBIANS_KERNEL what this machine's kernel may lack. Its `measure(quick)` runs inside and returns rows. The quick form
counts processor time instead of seconds, on files in memory."""

import argparse
import importlib
import json
import os
import subprocess
import sys

import baseline
import page
import simdevice
from report import table_text
from rounds import Row
from sizes import sizes

PROJECT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
FIGURES = ("start_up", "memory", "calls", "idle", "store", "zones", "scan", "intake", "network", "can")
QUICK = ("start_up", "memory", "calls", "store", "zones", "scan")
STATE = f"{PROJECT}/build/bench/device"
LIMIT = "1800"  # seconds, for what would wait for ever when the daemon fails it


class Bench:
    def __init__(self, stage, programs, peers, quick):
        self.device = simdevice.SimulatedDevice(STATE, stage)
        self.environment = {"BENCH_PROGRAMS": programs, "BENCH_PEERS": peers}
        self.quick = quick
        if quick:
            self.environment["BENCH_PROCESSOR_TIME"] = "yes"

    def rows(self, name):
        """What a kind of measurement brings."""
        figure = importlib.import_module(f"figures.{name}")
        processors = os.sched_getaffinity(0)
        if getattr(figure, "PINNED", False):
            os.sched_setaffinity(0, {max(processors)})
        try:
            command = ["timeout", "--kill-after=10", LIMIT, f"{PROJECT}/bench/inside.py", name]
            command.append("quick" if self.quick else "full")
            if getattr(figure, "NETWORK", False):
                printed = self.beside_all_services(command)
            else:
                printed = self.as_only_job(command, getattr(figure, "KEEPS_FILES", False) and not self.quick)
        finally:
            os.sched_setaffinity(0, processors)
        rows = [Row(**row) for row in json.loads(printed)]
        if not rows and getattr(figure, "DEBIANS_KERNEL", False):
            emulated = json.loads(self.on_debians_kernel(command))
            rows = [Row(**{**row, "case": f"{row['case']}, emulated"}) for row in emulated]
        return rows

    def as_only_job(self, command, keeps_files):
        done = self.device.run(
            command, ephemeral=not keeps_files, env=self.environment, stdout=subprocess.PIPE, text=True
        )
        if keeps_files:
            self.device.erase()
        done.check_returncode()
        return done.stdout

    def on_debians_kernel(self, command):
        """As the only job of a device of an emulated machine."""
        device = [f"{PROJECT}/device/device", "run", "--ephemeral", f"--install={self.device.install}"]
        device += [f"--env={name}={value}" for name, value in self.environment.items()]
        emulator = [f"{PROJECT}/tools/real-kernel", "--count"]
        return subprocess.run([*emulator, *device, "--", *command], stdout=subprocess.PIPE, check=True).stdout

    def beside_all_services(self, command):
        self.device.start(network=True)
        try:
            return self.device.exec(
                command, env=self.environment, timeout=None, stdout=subprocess.PIPE, check=True
            ).stdout
        finally:
            self.device.power_cut()
            self.device.erase()


def arguments():
    parser = argparse.ArgumentParser(prog="bench/run")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--accept", action="store_true")
    parser.add_argument("--stage", required=True)
    parser.add_argument("--programs", required=True)
    parser.add_argument("--peers", default="")
    parser.add_argument("figures", nargs="*", metavar="FIGURE")
    given = parser.parse_args()
    known = (*FIGURES, "profile")
    unknown = set(given.figures) - set(known)
    if unknown:
        parser.error(f"there is no {', '.join(sorted(unknown))}; there are {', '.join(known)}")
    if given.accept and (not given.quick or given.figures):
        parser.error("--accept goes with --quick alone")
    return given


def show(name, rows):
    print(table_text(rows) if rows else f"{name}: left out, this kernel can't do it", flush=True)


def measure_all(bench, names):
    """All rows, shown as they come."""
    rows = []
    for name in names:
        taken = bench.rows(name)
        show(name, taken)
        rows += taken
    return rows


def check_all(bench, names):
    """Whether no ratio is worse than it was, in two tries."""
    known = baseline.read()
    found = []
    for name in names:
        rows = bench.rows(name)
        if baseline.worse(rows, known):
            rows = [both(*pair) for pair in zip(rows, bench.rows(name), strict=True)]
        show(name, rows)
        found += baseline.worse(rows, known)
    print("\n".join(f"worse: {line}" for line in found) or "No ratio is worse by half than it was.")
    return not found


def both(row, again):
    return row._replace(values={label: [*taken, *again.values[label]] for label, taken in row.values.items()})


def main():
    given = arguments()
    bench = Bench(given.stage, given.programs, given.peers, given.quick)
    load = os.getloadavg()[0]
    if given.quick and not given.accept:
        sys.exit(0 if check_all(bench, given.figures or QUICK) else 1)
    rows = measure_all(bench, given.figures or (QUICK if given.quick else FIGURES))
    if given.accept:
        baseline.accept(rows)
    elif not given.figures:
        profile = measure_all(bench, ["profile"])
        page.write(rows, profile, sizes(f"{given.stage}/usr/sbin/nodekeep"), load)


main()
