"""Measuring in turns: what slows the machine down meanwhile slows all of them down."""

import os
import subprocess
import time
import typing


class Row(typing.NamedTuple):
    """What one kind of measurement has brought: its values by name, the daemon's own first, in the order taken. Less is
    better."""

    figure: str
    case: str
    unit: str
    values: dict
    size: float | None = None  # where the figure grows with something, how much of it there was


def in_turns(rounds, takes):
    """The values that functions return, by name. Every other round goes the other way, so that nobody follows the same
    one each time."""
    values = {name: [] for name in takes}
    order = list(takes.items())
    for _ in range(rounds):
        for name, take in order:
            values[name].append(take())
        order.reverse()
    return values


def scaled(values, factor):
    return {name: [value * factor for value in taken] for name, taken in values.items()}


def parts(values, index):
    """Of values that are tuples, one element each."""
    return {name: [value[index] for value in taken] for name, taken in values.items()}


# Whether processor time is measured, which what else goes on in the machine hardly changes.
PROCESSOR_TIME = "BENCH_PROCESSOR_TIME" in os.environ


def seconds_of(work):
    begin = time.perf_counter()
    work()
    return time.perf_counter() - begin


def command_seconds(*command):
    """How long a program takes that has to succeed, or what processor time; its output is thrown away."""
    silent = [(os.POSIX_SPAWN_OPEN, descriptor, "/dev/null", os.O_WRONLY, 0) for descriptor in (1, 2)]
    begin = time.perf_counter()
    pid = os.posix_spawnp(command[0], command, os.environ, file_actions=silent)
    _, status, used = os.wait4(pid, 0)
    took = time.perf_counter() - begin
    if status != 0:
        raise subprocess.CalledProcessError(os.waitstatus_to_exitcode(status), command)
    return used.ru_utime + used.ru_stime if PROCESSOR_TIME else took


class Tasks:
    """A program that does work of the daemon's own code when it is told to, and tells how long that took, or what
    processor time."""

    def __init__(self, *command):
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE}
        self.process = subprocess.Popen(command, text=True, bufsize=1, **pipes)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.process.stdin.close()
        if exception[0]:
            self.process.kill()
        if self.process.wait() != 0 and not exception[0]:
            raise subprocess.CalledProcessError(self.process.returncode, self.process.args)

    def seconds(self, task):
        self.process.stdin.write(f"{task}\n")
        answer = self.process.stdout.readline()
        if not answer:
            raise subprocess.CalledProcessError(self.process.wait(), self.process.args)
        return float(answer)
