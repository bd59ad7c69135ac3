#!/usr/bin/python3 -EsB
"""Becomes a program as a unit of systemd starts it: confined.py UNIT PROGRAM, inside a simulated device.

What the unit's section [Service] says of the environment, of files, rights and system calls is put on this process, as
systemd would. A setting that is not known here is an error, so that none is overlooked; what takes more than a process
can put on itself is named and left out.
"""

import errno
import os
import re
import socket
import subprocess
import sys

import seccomp

sys.path.append("/usr/lib/nodekeep-device")
import mounts  # noqa: E402

# About the start, not about what may be done then.
LEFT_OUT = {"Type", "BusName", "ExecStart", "Restart", "RestartSec", "TimeoutStartSec"}
# Devices and addresses are kept away by control groups; a new /proc, without the files of other processes, would show
# the machine's own settings.
LEFT_OUT |= {"DeviceAllow", "IPAddressAllow", "IPAddressDeny", "ProtectProc"}
# Mounts of its own and no calls of other processors it has in any case.
LEFT_OUT |= {"PrivateMounts", "SystemCallArchitectures"}

# Of <sched.h>, <sys/mount.h>, <sys/mman.h>, <sys/stat.h> and <asm/socket.h>
NEW_NAMESPACES = {"mnt": 0x20000, "cgroup": 0x2000000, "uts": 0x4000000, "ipc": 0x8000000}
NEW_NAMESPACES |= {"user": 0x10000000, "pid": 0x20000000, "net": 0x40000000}
SHARED, SLAVE = 0x100000, 0x80000
PROT_WRITE, PROT_EXEC = 0x2, 0x4
SET_ID_BITS = (0o4000, 0o2000)
FAMILIES = 46

# What can be said of system and homes here, and what is read-only or empty then.
SYSTEM = {"yes": {"/usr", "/boot", "/efi"}, "full": {"/usr", "/boot", "/efi", "/etc"}}
HOMES = {"no": set(), "tmpfs": {"/home", "/root", "/run/user"}}
KERNEL = {"/proc/sys", "/proc/sysrq-trigger", "/proc/irq", "/proc/bus", "/proc/fs", "/sys"}
# What systemd leaves, and the way by which the stand-in for shutdown reaches process 1.
DEVICES = ("null", "zero", "full", "random", "urandom", "tty", "pts", "shm", "ptmx", "fd", "stdin", "stdout", "stderr")
DEVICES += (".device",)

# A process can't do without these, so systemd always lets them pass.
ALWAYS = "@default"


def settings_of(unit):
    """The settings of the section [Service], each as the list of its values."""
    with open(unit) as file:
        section = file.read().partition("[Service]\n")[2].partition("\n[")[0]
    settings = {}
    for name, value in re.findall(r"^(\w+)=(.*)$", section, re.MULTILINE):
        settings.setdefault(name, []).append(value)
    return settings


class Settings:
    """What a unit says, and what of it was asked for: all has to be in the end."""

    def __init__(self, unit):
        self.values = settings_of(unit)
        self.known = set(LEFT_OUT)

    def words(self, name):
        self.known.add(name)
        return " ".join(self.values.get(name, [])).split()

    def lines(self, name):
        self.known.add(name)
        return self.values.get(name, [])

    def word(self, name):
        (word,) = self.words(name) or [""]
        return word

    def is_set(self, name):
        return {"yes": True, "no": False, "": False}[self.word(name)]

    def refuse_unknown(self):
        if unknown := self.values.keys() - self.known:
            sys.exit(f"confined: {', '.join(sorted(unknown))}: can neither be put on a process here nor be left out")


# Files


def present(words):
    """The paths that are there; one with "-" in front may be missing."""
    paths = [os.path.realpath(word.removeprefix("-")) for word in words]
    return [path for path, word in zip(paths, words) if os.path.exists(path) or not word.startswith("-")]


def confine_files(settings):
    # We see what the device mounts later, and the device nothing of what we mount.
    mounts.call("mount", "", "/", "", mounts.RECURSIVE | SHARED, "")
    mounts.call("unshare", NEW_NAMESPACES["mnt"])
    mounts.call("mount", "", "/", "", mounts.RECURSIVE | SLAVE, "")

    homes = set(filter(os.path.exists, HOMES[settings.word("ProtectHome")]))
    readable, changeable = present(settings.words("BindReadOnlyPaths")), present(settings.words("BindPaths"))
    kept = {path: os.open(path, os.O_PATH) for path in readable + changeable}
    if settings.is_set("PrivateDevices"):
        hide_devices()
    for path in homes:
        mounts.mount("tmpfs", "home", path, 0, "mode=755")
    for path, descriptor in kept.items():
        lay(path, descriptor)
    read_only = SYSTEM[settings.word("ProtectSystem")] | homes | set(readable)
    if settings.is_set("ProtectKernelTunables"):
        read_only |= KERNEL
    if settings.is_set("ProtectControlGroups"):
        read_only.add("/sys/fs/cgroup")
    protect(set(filter(os.path.exists, read_only)), set(present(settings.words("ReadWritePaths"))))
    if settings.is_set("ProtectKernelModules"):
        hide("/usr/lib/modules")
    if settings.is_set("ProtectKernelLogs"):
        hide("/proc/kmsg")


def lay(path, descriptor):
    """Shows at a path what stood there before."""
    source = f"/proc/self/fd/{descriptor}"
    if not os.path.exists(path):
        if os.path.isdir(source):
            os.makedirs(path)
        else:
            os.close(os.open(path, os.O_CREAT | os.O_WRONLY))
    mounts.bind(source, path)
    os.close(descriptor)


def hide_devices():
    kept = {name: os.open(f"/dev/{name}", os.O_PATH | os.O_NOFOLLOW) for name in DEVICES}
    links = {name: os.readlink(f"/dev/{name}") for name in DEVICES if os.path.islink(f"/dev/{name}")}
    mounts.mount("tmpfs", "dev", "/dev", mounts.NOSUID | mounts.NOEXEC, "mode=755")
    for name, descriptor in kept.items():
        if name in links:
            os.symlink(links[name], f"/dev/{name}")
            os.close(descriptor)
        else:
            lay(f"/dev/{name}", descriptor)


def hide(path):
    """Leaves nothing of what a path holds."""
    if os.path.isdir(path):
        mounts.mount("tmpfs", "hidden", path, mounts.RDONLY, "mode=000")
    elif os.path.exists(path):
        mounts.bind("/dev/null", path)


def protect(read_only, writable):
    """Keeps paths from being written, but for those below them that may be, or the same ones."""
    for path in read_only - writable:
        mounts.bind_all(path, path)
    for path in writable:
        mounts.bind(path, path)
    with open("/proc/self/mountinfo") as file:
        places = {line.split()[4] for line in file}
    for place in places:
        nearest = max((path for path in read_only | writable if is_in(place, path)), key=len, default=None)
        # A mount may lie hidden below another one.
        if nearest and nearest not in writable and os.path.exists(place):
            mounts.remount(place, mounts.RDONLY | os.statvfs(place).f_flag & 0xF)


def is_in(place, path):
    return f"{place}/".startswith(f"{path}/")


# System calls


def groups():
    """Each group of system calls that systemd knows, with its calls and groups."""
    listed = subprocess.run(
        ["/usr/bin/systemd-analyze", "syscall-filter"], capture_output=True, text=True, check=True
    ).stdout
    found = {}
    for name, lines in re.findall(r"^(@.+)\n((?: .+\n)*)", listed, re.MULTILINE):
        found[name] = {line.strip() for line in lines.splitlines() if "#" not in line}
    return found


def members(known, word):
    """The calls that a word stands for."""
    if not word.startswith("@"):
        return {word}
    return set().union(*(members(known, each) for each in known[word]))


def is_known(call):
    """Whether this processor has such a call."""
    return seccomp.resolve_syscall(seccomp.Arch(), call) >= 0


def allow(words, error):
    """Lets these calls pass and no others; words behind a "~" are taken away again."""
    known = groups()
    allowed = members(known, ALWAYS)
    for line in words:
        named = set().union(*(members(known, word) for word in line.removeprefix("~").split()))
        allowed = allowed - named if line.startswith("~") else allowed | named
    calls = seccomp.SyscallFilter(seccomp.ERRNO(error))
    for call in filter(is_known, allowed):
        calls.add_rule(seccomp.ALLOW, call)
    return calls


def without(*rules):
    """Lets all calls pass but for those with such arguments: error, call, conditions about arguments."""
    calls = seccomp.SyscallFilter(seccomp.ALLOW)
    for error, call, *conditions in rules:
        calls.add_rule(seccomp.ERRNO(error), call, *conditions)
    return calls


def argument(position, mask):
    """The condition that all bits of a mask are set."""
    return seccomp.Arg(position, seccomp.MASKED_EQ, mask, mask)


def restrictions(settings):
    """A filter for each restriction of system calls."""
    eperm = errno.EPERM
    if settings.is_set("RestrictNamespaces"):
        flags = NEW_NAMESPACES.values()
        yield without(*((eperm, call, argument(0, flag)) for call in ("clone", "unshare") for flag in flags))
        yield without((errno.ENOSYS, "clone3"), (eperm, "setns"))
    if settings.is_set("RestrictSUIDSGID"):
        modes = {"chmod": 1, "fchmod": 1, "fchmodat": 2, "mkdir": 1, "mkdirat": 2, "mknod": 1, "mknodat": 2, "creat": 1}
        yield without(*((eperm, call, argument(at, bit)) for call, at in modes.items() for bit in SET_ID_BITS))
    if settings.is_set("MemoryDenyWriteExecute"):
        yield without(
            (eperm, "mmap", argument(2, PROT_WRITE | PROT_EXEC)),
            (eperm, "mprotect", argument(2, PROT_EXEC)),
            (eperm, "pkey_mprotect", argument(2, PROT_EXEC)),
            (eperm, "shmat", argument(2, 0o100000)),
        )
    if settings.is_set("LockPersonality"):
        yield without((eperm, "personality", seccomp.Arg(0, seccomp.NE, 0xFFFFFFFF)))  # which only asks
    if settings.is_set("RestrictRealtime"):
        yield without(*((eperm, "sched_setscheduler", seccomp.Arg(1, seccomp.EQ, policy)) for policy in (1, 2, 6)))
    if settings.is_set("ProtectKernelModules"):
        yield without(*((eperm, call) for call in ("init_module", "finit_module", "delete_module")))
    if settings.is_set("ProtectKernelLogs"):
        yield without((eperm, "syslog"))
    if families := settings.words("RestrictAddressFamilies"):
        other = set(range(FAMILIES)) - {int(getattr(socket, family)) for family in families}
        ranges = [seccomp.Arg(0, seccomp.EQ, family) for family in other] + [seccomp.Arg(0, seccomp.GE, FAMILIES)]
        yield without(*((errno.EAFNOSUPPORT, "socket", range) for range in ranges))
    if lines := settings.lines("SystemCallFilter"):
        yield allow(lines, getattr(errno, settings.word("SystemCallErrorNumber")))


def main(unit, program):
    settings = Settings(unit)
    environment = dict(line.split("=", 1) for line in settings.words("Environment"))
    kept = ["+" + name.removeprefix("CAP_").lower() for name in settings.words("CapabilityBoundingSet")]
    rights = ["/usr/bin/setpriv", f"--bounding-set={','.join(['-all', *kept])}"]
    rights += ["--no-new-privs"] if settings.is_set("NoNewPrivileges") else []
    confine_files(settings)
    filters = list(restrictions(settings))
    settings.refuse_unknown()
    for calls in filters:
        calls.load()
    os.execve(rights[0], [*rights, program], {**os.environ, **environment})


main(*sys.argv[1:])
