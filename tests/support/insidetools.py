"""Shell scripts inside a device, tools of ours ahead of the device's own, and a look at the daemon's process."""

SHADOWS = "/opt/shadows"
SHADOWED_PATH = f"{SHADOWS}:/usr/sbin:/usr/bin:/sbin:/bin"


def shell(device, script, **options):
    """Runs a script inside, which has to succeed, and returns what it printed."""
    return device.exec(["sh", "-c", script], check=True, **options).stdout


def shadow(device, tool, script):
    """Makes a shell script what a daemon finds first under the name of a tool, once it is started shadowed."""
    device.write(f"{SHADOWS}/{tool}", f"#!/bin/sh\n{script}\n", mode="755")


def start_shadowed(device, wait=True):
    """Starts the daemon so that it finds the shadows."""
    device.start_daemon(env={"PATH": SHADOWED_PATH}, wait=wait)


def daemon_children(device):
    """The ids inside the device of the tools that the daemon is running."""
    return device.exec(["pgrep", "-P", str(device.daemon_status()["pid"])]).stdout.split()


def resident_kib(device):
    """How much memory the daemon has."""
    status = device.read(f"/proc/{device.daemon_status()['pid']}/status")
    return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS:"))
