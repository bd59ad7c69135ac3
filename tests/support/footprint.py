"""What a device's daemon holds of its machine, and whether it has given back what it took meanwhile."""

import collections
import contextlib
import os
import re
import typing

import simdevice

GROWTH_KIB = 1024


class Footprint(typing.NamedTuple):
    own_kib: int
    descriptors: dict  # how many of each kind: "socket", "eventfd", or the path of a file
    threads: int
    children: int
    sanitized: bool

    @classmethod
    def of(cls, device):
        process = f"/proc/{device.daemon_pid}"
        tasks = os.listdir(f"{process}/task")
        return cls(own_kib(process), descriptors(process), len(tasks), children(process, tasks), is_sanitized(process))

    def growth_since(self, before, allowed_kib):
        """What there is more of than before, memory beyond what is allowed; empty when all of it is back. Where
        a sanitizer keeps memory for itself it does not count: there AddressSanitizer's search tells of leaks."""
        more = {kind: count - before.descriptors.get(kind, 0) for kind, count in self.descriptors.items()}
        more |= {"threads": self.threads - before.threads, "children": self.children - before.children}
        if not self.sanitized:
            more["KiB"] = self.own_kib - before.own_kib - allowed_kib
        return {kind: count for kind, count in more.items() if count > 0}


def own_kib(process):
    """The memory that the process has filled itself. Pages of programs and libraries count for nobody: who has them for
    himself depends on what else is running."""
    with open(f"{process}/smaps_rollup", encoding="ascii") as rollup:
        return sum(int(line.split()[1]) for line in rollup if line.startswith(("Anonymous:", "Swap:")))


def descriptors(process):
    kinds = collections.Counter()
    for number in os.listdir(f"{process}/fd"):
        with contextlib.suppress(FileNotFoundError):  # it was closed just now
            target = os.readlink(f"{process}/fd/{number}")
            kinds[target.removeprefix("anon_inode:").partition(":")[0].strip("[]")] += 1
    return dict(kinds)


def children(process, tasks):
    count = 0
    for task in tasks:
        with contextlib.suppress(FileNotFoundError), open(f"{process}/task/{task}/children", encoding="ascii") as file:
            count += len(file.read().split())
    return count


def is_sanitized(process):
    with open(f"{process}/maps", encoding="utf-8") as maps:
        return re.search(r"/lib[at]san\.so", maps.read()) is not None


def assert_back_to(before, device, growth_kib=GROWTH_KIB):
    """Waits until the daemon of a device holds no more than before, but for that much memory."""

    def growth():
        return Footprint.of(device).growth_since(before, growth_kib)

    with contextlib.suppress(TimeoutError):
        simdevice.wait_for(lambda: not growth())
    assert not growth(), f"the daemon has kept {growth()} and {growth_kib} KiB, beyond {before}"
