"""What a device could leave behind on the machine, and how one sees it."""

import os
import subprocess
import sys

import simdevice

LAUNCHER = os.path.join(simdevice.PROJECT, "device/device")


def namespaces_of(pid):
    return {os.readlink(f"/proc/{pid}/ns/{kind}") for kind in ("mnt", "pid", "uts", "net", "ipc")}


def processes_in(namespaces):
    """The machine's processes that live in one of the namespaces."""
    found = []
    for pid in simdevice.machine_pids():
        try:
            if namespaces & namespaces_of(pid):
                found.append(pid)
        except OSError:
            pass  # it ended just now
    return found


def gone(namespaces):
    """Waits until nothing lives in the namespaces; with them go their mounts, sockets and interfaces."""
    return simdevice.wait_for(lambda: not processes_in(namespaces), what="the device's processes to end")


def machine_mounts():
    with open("/proc/self/mountinfo") as file:
        return file.read()


def launch(*arguments, **popen):
    """Starts the launcher like a user at a terminal would, in a process group of its own."""
    return subprocess.Popen([sys.executable, LAUNCHER, *arguments], start_new_session=True, text=True, **popen)


def job_of(launcher):
    """The namespaces of the device that a launcher's process holds, once its job has said "here"."""
    assert launcher.stdout.readline() == "here\n"
    own = namespaces_of(os.getpid())
    inner = [pid for pid in descendants(launcher.pid) if not own & namespaces_of(pid)]
    return namespaces_of(inner[0])


def descendants(pid):
    with open(f"/proc/{pid}/task/{pid}/children") as file:
        children = [int(child) for child in file.read().split()]
    return children + [below for child in children for below in descendants(child)]
