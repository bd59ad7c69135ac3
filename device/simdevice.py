"""The simulated device as a Python object, for the command line and for tests that steer devices from outside."""

import contextlib
import os
import select
import signal
import subprocess
import sys
import threading
import time

import launch
from inspection import Inspection, machine_pids, wait_for
from launch import DeviceError, require_root
from links import Links
from places import DEFAULT_INSTALL, DEFAULT_STATE, DEVICE, PACKAGES, PROJECT
from state import State

import control

__all__ = ["DEFAULT_INSTALL", "PROJECT", "DeviceError", "SimulatedDevice", "machine_pids", "require_root", "wait_for"]

SERVICE = "com.ozt.nodekeep"
DAEMON = "usr/sbin/nodekeep"
START_LIMIT = 30.0
STOP_LIMIT = 60.0  # a sync waits for all that the machine has to write


class SimulatedDevice(Inspection, Links):
    """A device with its state directory; as a context manager it starts, and ends with a power cut.

    All paths are those inside the device. Operations raise DeviceError with one line that tells what failed. What
    this object starts dies with the thread that started it, unless `attached` is false.
    """

    def __init__(self, state=DEFAULT_STATE, install=None):
        self.state = State(state)
        self.install = os.path.abspath(install or DEFAULT_INSTALL)
        self.holder = None  # Popen of the device that this object started
        self.forwarder = None  # Popen of what hands on connections to its web server
        self.log_start = 0  # where in the daemon's log its latest run begins

    def __enter__(self):
        if not self.running:
            self.start()
        return self

    def __exit__(self, *exception):
        self.power_cut()

    # The whole device

    def run(self, command, *, ephemeral=False, writable=(), env=None, bus=True, **popen):
        """Runs `command` as the only job of a device and returns it as a CompletedProcess.

        ephemeral   keep nothing: the state directory is not used
        writable    directories of the machine that may be written, at the same path
        env         what to add to the environment
        popen       for Popen; standard streams are ours otherwise. `input` is what the program is to read.
        """
        if "/" in command[0]:
            command = [os.path.abspath(command[0]), *command[1:]]
        missing = [path for path in writable if not os.path.isdir(path)]
        if missing:
            raise DeviceError(f"no such directory: {missing[0]}")
        given = popen.pop("input", None)
        if given is not None:
            popen["stdin"] = subprocess.PIPE
        with contextlib.nullcontext() if ephemeral else self.locked() as lock:
            process = launch.spawn(
                state=None if ephemeral else self.state.directory,
                install=self.install,
                command=command,
                bus=bus,
                env=env,
                writable=[os.path.abspath(path) for path in writable],
                keep=[] if ephemeral else [lock],
                **popen,
            )
        with killed_at_the_end(process):
            output, errors = process.communicate(given)
        status = process.returncode
        return subprocess.CompletedProcess(command, status if status >= 0 else 128 - status, output, errors)

    def start(self, *, daemon=True, network=False, srv=True, started=True, listen=None, env=None, attached=True):
        """Boots the device and returns when all of it is up, the daemon answering. `env` reaches all its programs.

        network  true connects eth0 to a network with a DHCP server, and starts connman
        srv      false leaves the data partition unmounted, see mount_srv
        started  false keeps the system configuration manager from telling that it has started, see emit_started
        listen   port of the machine's loopback that leads to the device's web server
        """
        if daemon and not os.access(os.path.join(self.install, DAEMON), os.X_OK):
            raise DeviceError(f"no daemon is installed in {self.install}: build it and install it there first")
        if network and not os.path.isdir(PACKAGES):
            raise DeviceError(
                f"nothing is in {PACKAGES}: call {DEVICE}/fetch-services {PACKAGES}, or start without a network"
            )
        self.log_start = len(self.daemon_log())
        ready, ready_end = os.pipe()
        with self.locked() as lock, open(self.state.path("log/boot.log"), "wb") as log:
            given = {"daemon": daemon, "network": network, "srv": srv, "started": started, "listen": listen}
            self.state.save_options({"install": self.install, **given})
            self.holder = launch.spawn(
                state=self.state.directory,
                install=self.install,
                daemon=daemon,
                network=network,
                srv=srv,
                started=started,
                env=env,
                keep=[lock],
                ready=ready_end,
                attached=attached,
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                start_new_session=True,
            )
        os.close(ready_end)
        try:
            self.wait_booted(ready)
            if listen:
                self.forwarder = self.listen(listen, attached)
            if daemon:
                self.wait_daemon()
        except BaseException:
            self.power_cut()
            raise
        finally:
            os.close(ready)

    @contextlib.contextmanager
    def locked(self):
        """Holds the state directory's lock until a device that inherits it was started."""
        lock = self.state.lock()
        try:
            yield lock
        finally:
            os.close(lock)

    def wait_booted(self, ready):
        readable, _, _ = select.select([ready], [], [], START_LIMIT)
        if readable and os.read(ready, 64):
            return
        with open(self.state.path("log/boot.log"), errors="replace") as file:
            words = file.read()
        reason = words.strip().splitlines()[-1].removeprefix("device: ") if words.strip() else "it said nothing"
        raise DeviceError(f"the device did not boot: {reason}")

    def stop(self):
        """Ends the device in order: the daemon first, file systems synced."""
        if not self.running:
            return
        self.ask("halt")
        self.state.wait_unlocked(STOP_LIMIT)
        self.reap()

    def power_cut(self):
        """Ends everything inside at once. What was written stays, as the machine's kernel has it."""
        pid = self.init_pid
        if pid:
            # Its parent waits for it, and so holds the lock until the kernel has taken all mounts down.
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
        elif self.holder:
            self.holder.kill()
        self.state.wait_unlocked()
        self.reap()

    def power_cycle(self, attached=True):
        """A power cut, then a start with the options of the last one."""
        self.power_cut()
        options = self.state.options()
        self.install = options.pop("install", self.install)
        self.start(**options, attached=attached)

    def reap(self):
        if self.holder:
            self.holder.wait()
        if self.forwarder:
            self.forwarder.wait()
        self.holder = self.forwarder = None

    def erase(self):
        """Forgets all that the device kept. It must be stopped."""
        self.state.erase()

    def at_next_boot(self, *, srv, started):
        """Changes what `start` was given, for the boots that this device asks for itself."""
        self.ask("next-boot", options={"srv": srv, "started": started})

    # The daemon alone

    def start_daemon(self, env=None, wait=True):
        """Starts the daemon with `env` added to its environment, and waits until it answers."""
        self.log_start = len(self.daemon_log())
        self.ask("daemon-start", env=env or {})
        if wait:
            self.wait_daemon()

    def stop_daemon(self):
        """Ends the daemon and returns its exit status, minus the signal's number if that ended it; None: none ran."""
        daemon = self.ask("daemon-stop")["daemon"]
        return daemon and daemon["status"]

    def wait_daemon(self, limit=START_LIMIT):
        """Waits until the daemon answers a call. A daemon that ends, or is silent, is a DeviceError with its log."""
        end = time.monotonic() + limit
        while not self.daemon_answers(limit):
            daemon = self.daemon_status()
            if not daemon["running"]:
                raise DeviceError(f"the daemon ended with status {daemon['status']}", self.daemon_log(self.log_start))
            if time.monotonic() > end:
                raise DeviceError(f"the daemon did not answer within {limit:g} s", self.daemon_log(self.log_start))
            time.sleep(0.02)

    def daemon_answers(self, limit):
        call = [f"--dest={SERVICE}", "/system", "org.freedesktop.DBus.Introspectable.Introspect"]
        options = [f"--bus={self.bus_address}", "--print-reply", f"--reply-timeout={limit * 1000:.0f}"]
        command = ["dbus-send", *options, *call]
        return subprocess.run(command, env=launch.BASE_ENVIRONMENT, capture_output=True, check=False).returncode == 0

    def ask(self, what, **arguments):
        """The answer of process 1 to a request (see control.py)."""
        pid = self.init_pid
        if not pid:
            raise DeviceError("the device does not run")
        try:
            return control.ask(f"/proc/{pid}/root{control.SOCKET}", {"do": what, **arguments})
        except (OSError, control.Refused) as error:
            raise DeviceError(f"{what}: {error}") from error


@contextlib.contextmanager
def killed_at_the_end(process):
    """Ends the process, and with it its device, however we leave: at a signal too."""

    def leave(number, frame):
        sys.exit(128 + number)

    numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
    here = threading.current_thread() is threading.main_thread()  # no other one may set handlers
    old = {number: signal.signal(number, leave) for number in numbers} if here else {}
    try:
        yield
    finally:
        process.kill()
        process.wait()
        for number, handler in old.items():
            signal.signal(number, handler)
