"""Shell scripts inside a device, tools of ours ahead of the device's own, and a look at its daemon and port."""

import contextlib
import json
import os

import dbus.bus

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


def sanitizer_environment(**options):
    """Options for the sanitizers of a daemon's build, ASAN_OPTIONS and the like, added to those we were given."""
    return {name: f"{os.environ.get(name, '')}:{text}" for name, text in options.items()}


# A daemon that starts so gives freed memory back at once, under a sanitizer too, which then remembers little of where
# it was taken.
SPARING = sanitizer_environment(
    ASAN_OPTIONS="quarantine_size_mb=0:thread_local_quarantine_size_kb=0:malloc_context_size=1"
)


def daemon_children(device):
    """The ids inside the device of the tools that the daemon is running or has not waited for."""
    return device.exec(["pgrep", "-P", str(device.daemon_status()["pid"])]).stdout.split()


def end_service(device, client, name):
    """Ends the program that owns a name on the bus."""
    shell(device, f"kill {client.owner_pid(name)}")
    device.wait_for(lambda: not client.connection.name_has_owner(name), what=f"{name} to be gone")


def platform_calls(device, *names):
    """The arguments of the calls of these names that the platform has got, in order."""
    return [line["args"] for line in device.platform_log() if line["call"] in names]


def platform_jobs(device, job=None):
    """What the platform was asked to do with a job, or with all but "ntp", which each start of the daemon starts: lists
    such as ["start", "hostname", False], in order."""
    calls = [(line["call"].partition("."), line["args"]) for line in device.platform_log()]
    return about(job, [[name, *args] for (owner, _, name), args in calls if owner == "Upstart"])


def init_jobs(device, job=None):
    """As platform_jobs, what the init system has got: lists such as ["Start", "hostname", [], False], those calls
    included that the daemon did not wait for before it answered us."""
    with contextlib.closing(dbus.bus.BusConnection(device.bus_address)) as bus:
        # When it answers, it has come to the end of its queue.
        bus.call_blocking("com.ubuntu.Upstart", "/", "org.freedesktop.DBus.Peer", "Ping", "", ())
    return about(job, [[line["call"], line["job"], line["env"], line["wait"]] for line in device.upstart_log()])


def about(job, calls):
    """Those of the calls that are about a job, by default all but "ntp"."""
    return [call for call in calls if (call[1:2] == [job] if job else call[1:2] != ["ntp"])]


def addresses(device):
    """The IPv4 addresses of eth0, each with the length of its prefix."""
    shown = json.loads(device.exec(["ip", "-json", "-4", "addr", "show", "dev", "eth0"], check=True).stdout)
    return [f"{each['local']}/{each['prefixlen']}" for link in shown for each in link.get("addr_info", [])]


def has_thread_sanitizer(device):
    """Whether the daemon has a thread that wakes up by itself, and memory for all that its own have done so far."""
    return "/libtsan.so" in device.read(f"/proc/{device.daemon_status()['pid']}/maps")


def resident_kib(device):
    """How much memory the daemon has, always the same where ThreadSanitizer takes most of it."""
    if has_thread_sanitizer(device):
        return 0
    status = device.read(f"/proc/{device.daemon_status()['pid']}/status")
    return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS:"))
