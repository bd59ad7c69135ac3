"""The processes that process 1 of the device starts, reaps and ends."""

import contextlib
import fcntl
import os
import select
import signal
import time

LOGS = "/dev/.device/log"
SERVICES = "/usr/lib/nodekeep-device/services"
NETWORK = "/usr/lib/nodekeep-device/network"
TEST_BUS = "/usr/lib/nodekeep-device/test-bus.conf"
READY_FD = 3
STOP_LIMIT = 5.0
START_LIMIT = 10.0

ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8"}


class StartFailure(Exception):
    """Something could not be started; the text names it."""


class Process:
    """One started program: `status` is None while it runs, then its exit code or minus the signal that ended it."""

    def __init__(self, pid):
        self.pid = pid
        self.status = None

    @property
    def running(self):
        return self.status is None


class Processes:
    def __init__(self, env):
        self.env = {**ENVIRONMENT, **env}
        self.started = {}

    def start(self, name, command, env, pipe=None):
        """Starts `command` with its output in the log of that name, in a session of its own; without a name it
        keeps our terminal. `pipe` becomes its descriptor READY_FD. Raises StartFailure."""
        actions = []
        if name:
            log = os.path.join(LOGS, f"{name}.log")
            actions += [
                (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
                (os.POSIX_SPAWN_OPEN, 1, log, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644),
                (os.POSIX_SPAWN_DUP2, 1, 2),
            ]
        if pipe is not None:
            actions.append((os.POSIX_SPAWN_DUP2, pipe, READY_FD))
        try:
            pid = os.posix_spawnp(
                command[0],
                command,
                {**self.env, **env},
                file_actions=actions,
                setsid=name is not None,
                setsigdef=[signal.SIGPIPE, signal.SIGXFSZ],
            )
        except OSError as error:
            raise StartFailure(f"can't start {command[0]}: {os.strerror(error.errno)}") from error
        self.started[pid] = process = Process(pid)
        return process

    def start_ready(self, programs):
        """Starts several programs, name to command, and waits until each wrote a line to its READY_FD."""
        waiting = {}
        for name, command in programs.items():
            reader, writer = os.pipe2(os.O_CLOEXEC)
            # Were its number READY_FD already, duplicating it there would leave it close-on-exec.
            pipe = fcntl.fcntl(writer, fcntl.F_DUPFD_CLOEXEC, READY_FD + 1)
            os.close(writer)
            try:
                self.start(name, command, {}, pipe)
            finally:
                os.close(pipe)
            waiting[reader] = name
        end = time.monotonic() + START_LIMIT
        for reader, name in waiting.items():
            ready, _, _ = select.select([reader], [], [], max(0, end - time.monotonic()))
            if not ready or not os.read(reader, 4096):
                raise StartFailure(f"{name} did not come up, its words are in the log {name}.log")
            os.close(reader)

    def start_bus(self, open_to_tests):
        """Starts the system bus with the system's own configuration; `open_to_tests` lets root own and call all."""
        os.makedirs("/run/dbus", exist_ok=True)
        which = f"--config-file={TEST_BUS}" if open_to_tests else "--system"
        self.start_ready({"bus": ["dbus-daemon", which, "--nofork", "--nopidfile", f"--print-address={READY_FD}"]})

    def start_services(self, directory=SERVICES):
        """Starts every program of a directory at once."""
        names = sorted(os.listdir(directory))
        self.start_ready({name: [os.path.join(directory, name)] for name in names})

    def wait(self):
        """Waits until some child ends."""
        self.note(*os.waitpid(-1, 0))

    def reap(self):
        """Takes note of all that ended. The result is whether any child is left."""
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return False
            if pid == 0:
                return True
            self.note(pid, status)

    def note(self, pid, status):
        process = self.started.pop(pid, None)  # None: an orphan that came to us
        if process:
            process.status = os.waitstatus_to_exitcode(status)

    def stop(self, process):
        """Ends one process: SIGTERM, and SIGKILL when that has no effect in time."""
        self.end(process.pid, lambda: self.reap() is not None and not process.running)

    def stop_all(self):
        """Ends every process of the device but this one, also those that are not its children."""
        self.end(-1, lambda: not self.reap())
        with contextlib.suppress(ProcessLookupError):
            os.kill(-1, signal.SIGKILL)

    def end(self, target, gone):
        for number in (signal.SIGTERM, signal.SIGKILL):
            if gone():
                return
            with contextlib.suppress(ProcessLookupError):
                os.kill(target, number)
            end = time.monotonic() + STOP_LIMIT
            while not gone() and time.monotonic() < end:
                time.sleep(0.005)

    def grace(self, seconds=0.2):
        """Time for a client that asked for a reboot to see its answer, as a real shutdown leaves it."""
        time.sleep(seconds)
