#!/usr/bin/python3
"""nodekeep beside a minimal Qt service, in one run on one bus: start-up, idle memory, latency of a property read.

Runs inside the simulated device. Prints each figure of both and their ratio.
"""
import os
import statistics
import subprocess
import sys
import time

import dbus
import dbus.lowlevel

STARTS = 15
READS = 3000

# program, bus name, interface of its object at /version
NODEKEEP = ("/usr/sbin/nodekeep", "com.ozt.nodekeep", "local.Version")


def call_version(bus, name, interface):
    message = dbus.lowlevel.MethodCallMessage(name, "/version", "org.freedesktop.DBus.Properties", "Get")
    message.append(interface, "version", signature="ss")
    bus.send_message_with_reply_and_block(message, 5.0)


def start(program):
    return subprocess.Popen([program], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def wait_for_answer(bus, name, interface):
    while True:
        try:
            return call_version(bus, name, interface)
        except dbus.exceptions.DBusException:
            time.sleep(0.0002)  # the name is not there yet


def stop(process, bus, name):
    process.terminate()
    process.wait()
    while bus.name_has_owner(name):
        time.sleep(0.0002)


def start_up_ms(bus, program, name, interface):
    begin = time.perf_counter()
    process = start(program)
    wait_for_answer(bus, name, interface)
    took = time.perf_counter() - begin
    stop(process, bus, name)
    return took * 1000


def memory_kib(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        return next(int(line.split()[1]) for line in rollup if line.startswith("Pss:"))


def idle_memory_and_latency(bus, program, name, interface):
    process = start(program)
    wait_for_answer(bus, name, interface)
    memory = memory_kib(process.pid)
    times = []
    for _ in range(READS):
        begin = time.perf_counter()
        call_version(bus, name, interface)
        times.append(time.perf_counter() - begin)
    stop(process, bus, name)
    return memory, statistics.median(times) * 1e6


def main():
    bus = dbus.SystemBus()
    services = {"nodekeep": NODEKEEP, "minimal": (sys.argv[1], "com.ozt.minimal", "local.MinimalService")}
    # Taken in turns, so that a machine that slows down slows both.
    starts = {label: [] for label in services}
    for _ in range(STARTS):
        for label, service in services.items():
            starts[label].append(start_up_ms(bus, *service))
    rows = [("start-up to first answer, ms", *(statistics.median(starts[label]) for label in services))]
    figures = [idle_memory_and_latency(bus, *service) for service in services.values()]
    rows.append(("idle memory (Pss), KiB", figures[0][0], figures[1][0]))
    rows.append(("property read, us", figures[0][1], figures[1][1]))

    # What of the start-up is the boot environment's tool, which is the device's own and not the daemon's.
    begin = time.perf_counter()
    os.makedirs("/run/bench-env", exist_ok=True)
    for _ in range(STARTS):
        subprocess.run(["bareboxenv", "-l", "/run/bench-env", "/dev/mtdblock1"], check=True)
    tool = (time.perf_counter() - begin) / STARTS * 1000

    print(f"{'':32}{'nodekeep':>10}{'minimal':>10}{'ratio':>8}")
    for title, own, floor in rows:
        print(f"{title:32}{own:10.1f}{floor:10.1f}{own / floor:8.2f}")
    print(f"{'of the start-up, bareboxenv, ms':32}{tool:10.1f}")


if __name__ == "__main__":
    main()
