"""How process 1 of a simulated device is started from the machine."""

import ctypes
import json
import os
import subprocess
import sys

import places

# Some modules serve both sides of the sandbox's wall.
sys.path.insert(0, os.path.join(places.ROOTFS, "usr/lib/nodekeep-device"))

# What a caller may hand on to the programs inside; all else of his environment stays outside.
PASSED_ON = (
    "ASAN_OPTIONS",
    "UBSAN_OPTIONS",
    "TSAN_OPTIONS",
    "LSAN_OPTIONS",
    "LLVM_PROFILE_FILE",
    "GCOV_",
    "GTEST_",
    "QT_LOGGING_",
)

NAMESPACES = ("mnt", "pid", "uts", "net", "ipc")
UNSHARE = ["unshare", "--mount", "--pid", "--uts", "--net", "--ipc", "--fork", "--kill-child"]
DIE_WITH_PARENT = ["setpriv", "--pdeathsig", "KILL"]
DROP_CAPABILITIES = [
    "setpriv",
    "--pdeathsig=KILL",
    "--inh-caps=-all",
    "--ambient-caps=-all",
    "--bounding-set=-sys_time,-sys_boot,-sys_module",
]
ADDR_NO_RANDOMIZE = 0x0040000  # of <sys/personality.h>
BASE_ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8"}


class DeviceError(Exception):
    """What went wrong, in one line for the user; `log` is what the program in question said, if any."""

    def __init__(self, text, log=""):
        super().__init__(text)
        self.log = log


def require_root():
    if os.geteuid() != 0:
        raise DeviceError("the simulated device needs root: run it as root or with sudo")


def passed_on_environment():
    return {name: value for name, value in os.environ.items() if name.startswith(PASSED_ON)}


def command_environment(env=None):
    """What a program finds that a person or a test runs inside; the device's own programs have no HOME and TERM."""
    own = {**BASE_ENVIRONMENT, "HOME": "/root", "TERM": os.environ.get("TERM", "dumb")}
    return {**own, **passed_on_environment(), **(env or {})}


def machine_namespaces():
    return [os.readlink(f"/proc/self/ns/{name}") for name in NAMESPACES]


def fix_addresses():
    """Has what this thread starts from now on load its programs and libraries at fixed addresses. The sanitizers of
    older compilers lose their way in a randomised space."""
    ctypes.CDLL(None).personality(ADDR_NO_RANDOMIZE)


def spawn(
    *,
    state,
    install,
    command=None,
    bus=True,
    daemon=False,
    network=False,
    srv=True,
    started=True,
    env=None,
    writable=(),
    keep=(),
    ready=None,
    attached=True,
    **popen,
):
    """Starts a device and returns the Popen of the process that holds it.

    state      directory that keeps what the device keeps, None for a device that leaves no file
    install    stage with the installed daemon; may be missing
    command    what to run as the device's only job; None boots the device proper
    writable   directories that keep the same path inside and may be written
    keep       file descriptors that live as long as the device
    ready      file descriptor that takes the line "ready"
    attached   the device dies with the thread that calls this
    popen      more arguments for Popen
    """
    fix_addresses()
    machine = machine_namespaces()
    options = {
        "command": command,
        "bus": bus,
        "daemon": daemon,
        "network": network,
        "srv": srv,
        "started": started,
        "env": command_environment(env) if command else {**passed_on_environment(), **(env or {})},
        "ready": ready,
        "flash": places.DEFAULT_ENV,
        "machine": machine,
    }
    read_only = [path for path in (places.SEEN_INSIDE, install) if os.path.isdir(path)]
    counted = [os.environ["GCOV_PREFIX"]] if "GCOV_PREFIX" in os.environ else []
    environment = {
        **BASE_ENVIRONMENT,
        "DEVICE_STATE": state or "",
        "DEVICE_INSTALL": install,
        "DEVICE_PACKAGES": places.PACKAGES,
        "DEVICE_HOST_NAMESPACES": " ".join(machine),
        "DEVICE_READ_ONLY": "\n".join(read_only),
        "DEVICE_WRITABLE": "\n".join([*writable, *counted]),
    }
    boot = [*UNSHARE, "--", os.path.join(places.DEVICE, "boot"), json.dumps(options)]
    passed = [fd for fd in (*keep, ready) if fd is not None]
    return subprocess.Popen(
        [*DIE_WITH_PARENT, *boot] if attached else boot, env=environment, cwd="/", pass_fds=passed, **popen
    )


def enter(pid):
    """The start of a command line that runs a program inside the device whose process 1 has this id."""
    fix_addresses()
    return [
        "nsenter",
        f"--target={pid}",
        "--mount",
        "--pid",
        "--uts",
        "--net",
        "--ipc",
        "--",
        *DROP_CAPABILITIES,
        "--",
    ]
