#!/usr/bin/python3
"""The intake of a 64 MiB package beside the same work done by hand in a shell, in turns.

Runs inside the simulated device, beside the running daemon, with the package's path as its argument.
"""
import json
import shutil
import statistics
import subprocess
import sys
import time

import dbus
import dbus.lowlevel

ROUNDS = 7
UPLOAD = "/srv/upload-fwupdate"
BY_HAND = """
mkdir /srv/by-hand && tar -C /srv/by-hand -xzf "$1" && rm "$1" && cd /srv/by-hand &&
md5sum firmware/linuximage >/dev/null && md5sum firmware/root.ubi >/dev/null && mv firmware fwupdate0
"""


def manager_call(bus, method):
    message = dbus.lowlevel.MethodCallMessage("com.ozt.nodekeep", "/loader", "local.FwUpdateSettings", method)
    return bus.send_message_with_reply_and_block(message, 120.0).get_args_list()


def records(bus):
    return json.loads(manager_call(bus, "jsonFwUpdates")[0])


def announce_upload(bus):
    signal = dbus.lowlevel.SignalMessage("/", "com.ozt.httpdata", "fileUploaded")
    signal.append(UPLOAD, "update.qmz", signature="ss")
    bus.send_message(signal)
    bus.flush()


def intake_seconds(bus):
    known = len(records(bus))
    begin = time.perf_counter()
    announce_upload(bus)
    while len(records(bus)) == known:
        time.sleep(0.002)
    return time.perf_counter() - begin


def by_hand_seconds():
    begin = time.perf_counter()
    subprocess.run(["sh", "-c", BY_HAND, "sh", UPLOAD], check=True)
    return time.perf_counter() - begin


def peak_memory_kib(bus):
    daemon = bus.get_object("org.freedesktop.DBus", "/org/freedesktop/DBus")
    pid = daemon.GetConnectionUnixProcessID("com.ozt.nodekeep", dbus_interface="org.freedesktop.DBus")
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))


def main():
    bus = dbus.SystemBus()
    only_upload = dbus.lowlevel.MethodCallMessage(
        "com.ozt.nodekeep", "/loader", "org.freedesktop.DBus.Properties", "Set"
    )
    only_upload.append("local.FwUpdateSettings", "onlyUploadFirmware", True, signature="ssv")
    bus.send_message_with_reply_and_block(only_upload, 5.0)

    memory_before = peak_memory_kib(bus)
    daemon, hand = [], []
    for _ in range(ROUNDS):
        shutil.copy(sys.argv[1], UPLOAD)
        daemon.append(intake_seconds(bus))
        manager_call(bus, "cleanupFirmwareUpdates")
        shutil.copy(sys.argv[1], UPLOAD)
        hand.append(by_hand_seconds())
        shutil.rmtree("/srv/by-hand")
    own, floor = statistics.median(daemon), statistics.median(hand)
    print(f"intake {own:.3f} s, by hand {floor:.3f} s, ratio {own / floor:.3f}")
    print(f"ratio of the fastest of each: {min(daemon) / min(hand):.3f}")
    print(f"the daemon's peak memory: {memory_before} KiB before, {peak_memory_kib(bus)} KiB after")


if __name__ == "__main__":
    main()
