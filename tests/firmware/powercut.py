"""Power cuts at a chosen step of what a device does: strace holds the step at its end, and the device dies then."""

import contextlib
import os
import select
import signal
import subprocess
import time
import typing

from roaddevice import START_UPDATE
from simdevice import machine_pids

HELD_US = 60_000_000
LIMIT = 30.0


class Step(typing.NamedTuple):
    """A system call of any program of the device, at the end of which the power is cut."""

    title: str
    call: str
    path: str = ""  # that it is about; any
    nth: int = 1  # of those of one process
    boot: int = 1  # that is on the way then: 1 is the start of the update, 2 the first start of the new firmware
    loses: frozenset = frozenset()  # what an owner misses afterwards, because the update was made that way


class NeverCame(Exception):
    """The device went its way without the step."""


def cut_power_at(device, step):
    """Starts the update of fwupdate0 and cuts the power at the step."""
    if step.boot == 1:
        tracer = Tracer(step, [device.init_pid, device.daemon_pid])
        update = start_update(device)
    else:
        update = start_update(device)
        device.wait_for(lambda: boots_logged(device) == step.boot, 30, "the boot")
        tracer = Tracer(step, [device.init_pid])
    try:
        tracer.wait_held()
    finally:
        kill_all(device)
        tracer.end()
        device.power_cut()
        update.wait()


def kill_all(device):
    """Has every process of the device dead before it runs again: what the tracer holds would else go on without it."""
    init = device.init_pid
    namespace = pid_namespace(init)
    for pid in [*(pid for pid in machine_pids() if pid != init and pid_namespace(pid) == namespace), init]:
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, signal.SIGKILL)


def pid_namespace(pid):
    try:
        return os.readlink(f"/proc/{pid}/ns/pid")
    except OSError:
        return None


def start_update(device):
    command = [*device.entrance(), *START_UPDATE]
    return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def boots_logged(device):
    """How often the device has come up since its start; while it does so it answers no question."""
    return device.host_log("device.log").rpartition(" boot 1\n")[2].count(" boot ") + 1


class Tracer:
    def __init__(self, step, pids):
        self.step = step
        filters = ["-e", f"trace={step.call}", "-e", f"inject={step.call}:delay_exit={HELD_US}:when={step.nth}"]
        about = ["-P", step.path] if step.path else []
        targets = [argument for pid in pids for argument in ("-p", str(pid))]
        command = ["strace", "-f", "-e", "signal=none", *filters, *about, *targets]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.output = b""
        for _ in pids:
            self.wait_line(b" attached")

    def wait_held(self):
        self.wait_line(b"(DELAYED)")

    def wait_line(self, words):
        """Reads until the output has these words."""
        end = time.monotonic() + LIMIT
        while words not in self.output:
            readable, _, _ = select.select([self.process.stderr], [], [], max(0, end - time.monotonic()))
            piece = os.read(self.process.stderr.fileno(), 65536) if readable else b""
            if not piece:
                raise NeverCame(f"{self.step.title}: {self.output.decode(errors='replace')}")
            self.output += piece
        self.output = self.output.partition(words)[2]

    def end(self):
        self.process.kill()  # it would sit out the time of the step that it held
        self.process.communicate()
