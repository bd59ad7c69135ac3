"""What tests and the command line see and change of a device: files, flash, logs, programs inside."""

import contextlib
import json
import os
import subprocess
import sys
import time

import launch
from launch import DeviceError
from openinside import open_inside

SRV_SOURCE = "/dev/.device/srv"


def wait_for(condition, limit=30.0, what="the condition"):
    """The first true result of `condition()`. Raises TimeoutError, which names `what`, when there is none in time."""
    end = time.monotonic() + limit
    while True:
        began = time.monotonic()
        result = condition()
        if result:
            return result
        now = time.monotonic()
        if now > end:
            raise TimeoutError(f"waited {limit:g} s in vain for {what}")
        time.sleep(max(0.01, now - began))  # to look takes no more than half of the time


class Inspection:
    """The part of SimulatedDevice that looks inside."""

    wait_for = staticmethod(wait_for)

    @property
    def init_pid(self):
        """The machine's id of the device's process 1, None when it does not run."""
        return self.state.init_pid()

    @property
    def running(self):
        return self.init_pid is not None

    @property
    def bus_address(self):
        """The device's system bus, for a client on the machine."""
        pid = self.init_pid
        if not pid:
            raise DeviceError("the device does not run")
        return f"unix:path=/proc/{pid}/root/run/dbus/system_bus_socket"

    @property
    def boots(self):
        """How often the device booted since its start; an ordered reboot counts, a power cut begins anew."""
        return self.ask("status")["boots"]

    # Programs

    def exec(self, args, *, env=None, timeout=60, check=False, text=True, **run):
        """Runs a program inside the running device and returns the CompletedProcess with its output.

        It ends with us or at the time limit; what it left in the background stays."""
        command = [*self.entrance(), *args]
        if not {"stdout", "stderr"} & run.keys():
            run["capture_output"] = True
        if "input" not in run:
            run.setdefault("stdin", subprocess.DEVNULL)
        environment = launch.command_environment(env)
        return subprocess.run(command, env=environment, cwd="/", timeout=timeout, check=check, text=text, **run)

    def become(self, args):
        """Replaces this process by a program inside the running device."""
        command = [*self.entrance(), *args]
        sys.stdout.flush()
        os.chdir("/")
        os.execvpe(command[0], command, launch.command_environment())

    def entrance(self):
        pid = self.init_pid
        if not pid:
            raise DeviceError("the device does not run: start it first")
        return launch.enter(pid)

    def tool(self, args, given=None):
        """Runs a small program on the device's files, which need not run for it."""
        if self.running:
            return self.exec(args, input=given, text=False) if given is not None else self.exec(args, text=False)
        pipes = {"stdin": subprocess.DEVNULL} if given is None else {"input": given}
        return self.run(args, bus=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **pipes)

    # Files; of a stopped device too

    def read_bytes(self, path):
        """The content of a file. Raises FileNotFoundError when it can't be read."""
        if self.running and is_seen_from_outside(path):
            try:
                with open(open_inside(self.init_pid, path, os.O_RDONLY | os.O_NONBLOCK), "rb") as file:
                    return file.read()
            except OSError as error:
                raise FileNotFoundError(f"{path}: {error.strerror}") from error
        result = self.tool(["cat", "--", path])
        if result.returncode != 0:
            raise FileNotFoundError(result.stderr.decode(errors="replace").strip())
        return result.stdout

    def read(self, path):
        """The content of a file as text."""
        return self.read_bytes(path).decode(errors="surrogateescape")

    def write(self, path, data, mode=None):
        """Writes a file from text or bytes, its directory made where it is missing; `mode` in octal digits."""
        content = data.encode(errors="surrogateescape") if isinstance(data, str) else data
        if self.running and is_seen_from_outside(path):
            with contextlib.suppress(OSError):  # its directory is missing: the shell below makes it, or says why not
                target = open_inside(self.init_pid, path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_NONBLOCK, 0o644)
                with open(target, "wb") as file:
                    file.write(content)
                    if mode:
                        os.fchmod(target, int(mode, 8))
                return
        script = 'mkdir -p "$(dirname "$1")" && cat >"$1" && { [ -z "$2" ] || chmod "$2" "$1"; }'
        result = self.tool(["sh", "-c", script, "sh", path, mode or ""], content)
        if result.returncode != 0:
            raise DeviceError(f"can't write {path}: {result.stderr.decode(errors='replace').strip()}")

    def exists(self, path):
        if self.running and is_seen_from_outside(path):
            with contextlib.suppress(OSError):
                os.close(open_inside(self.init_pid, path, os.O_PATH))
                return True
            return False
        return self.tool(["test", "-e", path]).returncode == 0

    @property
    def flash(self):
        """The boot environment in the flash, file name to text. Raises flashimage.DamagedImage."""
        return {name: data.decode(errors="surrogateescape") for name, data in self.state.read_flash().items()}

    @flash.setter
    def flash(self, files):
        self.state.write_flash({name: text.encode(errors="surrogateescape") for name, text in files.items()})

    def mount_srv(self, told=False):
        """Mounts the data partition, as a device that finds it late; `told` lets the device manager tell of it."""
        self.exec(["mount", "--bind", SRV_SOURCE, "/srv"], check=True)
        if told:
            self.tell_udev("add")

    def unmount_srv(self, told=False):
        self.exec(["umount", "/srv"], check=True)
        if told:
            self.tell_udev("remove")

    def tell_udev(self, action, subsystem="bdi", name="ubifs_1_2", times=1):
        """Sends the device manager's message about a device, that of the data partition if no other is named."""
        self.exec(["/usr/lib/nodekeep-device/udev-message", action, subsystem, name, str(times)], check=True)

    def emit_started(self):
        """Lets the system configuration manager tell that it has started."""
        self.exec(["/usr/lib/nodekeep-device/syscfgmgr"], check=True)

    # Logs

    def platform_log(self):
        """The events of the platform library in order, the older file first."""
        return self.json_lines("/var/log/qmz/platform.jsonl.1") + self.json_lines("/var/log/qmz/platform.jsonl")

    def upstart_log(self):
        """The calls that the init system's stand-in got: dictionaries with time, job, call, env and wait."""
        return self.json_lines("/var/log/upstart-jobs.jsonl")

    def tool_log(self, *tools):
        """The calls that stand-ins for system tools got, all or of the named ones: name and arguments as a list."""
        calls = [[entry["tool"], *entry["args"]] for entry in self.json_lines("/var/log/device-tools.jsonl")]
        return [call for call in calls if not tools or call[0] in tools]

    def json_lines(self, path):
        try:
            # A line without its end is still being written.
            return [json.loads(line) for line in self.read(path).split("\n")[:-1]]
        except FileNotFoundError:
            return []

    def daemon_log(self, start=0):
        """What the daemon printed, from the character `start` on; the log goes on over restarts and power cuts."""
        return self.host_log("nodekeep.log")[start:]

    def host_log(self, name):
        """A file of the state directory's log/, such as "upstart.log"; empty when it is missing."""
        try:
            with open(self.state.path("log", name), errors="replace") as file:
                return file.read()
        except (FileNotFoundError, NotADirectoryError):
            return ""

    # The daemon

    def daemon_status(self):
        """{"pid", "running", "status"} of the daemon, seen from inside; None when none was started since boot."""
        return self.ask("status")["daemon"]

    @property
    def daemon_pid(self):
        """The machine's id of the running daemon, None without one."""
        daemon = self.daemon_status()
        if not daemon or not daemon["running"]:
            return None
        namespace = os.readlink(f"/proc/{self.init_pid}/ns/pid")
        return next(filter(lambda pid: is_process(pid, namespace, daemon["pid"]), machine_pids()), None)

    def describe(self):
        """What the device does just now, for people."""
        if not self.running:
            self.state.refuse_foreign_things()
            return f"stopped, state in {self.state.directory}"
        daemon = self.daemon_status()
        if not daemon:
            about = "not started"
        elif daemon["running"]:
            about = f"process {self.daemon_pid}"
        else:
            about = f"ended with status {daemon['status']}"
        return (
            f"running, state in {self.state.directory}\n"
            f"process 1: {self.init_pid}\ndaemon:    {about}\nbus:       {self.bus_address}\nboots:     {self.boots}"
        )

    def follow(self):
        """Shows the daemon's log until the device ends, or Ctrl-C ends it in order."""
        shown = self.log_start
        try:
            while self.running:
                text = self.daemon_log(shown)
                shown += len(text)
                print(text, end="", flush=True)
                time.sleep(0.1)
        except KeyboardInterrupt:
            self.stop()


def is_seen_from_outside(path):
    """Whether the file means the same from outside; what processes a device has, it alone sees."""
    return not path.startswith("/proc/")


def machine_pids():
    return (int(name) for name in os.listdir("/proc") if name.isdigit())


def is_process(pid, namespace, inner):
    """Whether the machine's process `pid` is the one that the namespace knows as `inner`."""
    try:
        if os.readlink(f"/proc/{pid}/ns/pid") != namespace:
            return False
        with open(f"/proc/{pid}/status") as file:
            ids = next(line for line in file if line.startswith("NSpid:")).split()
        return int(ids[-1]) == inner
    except (OSError, StopIteration):
        return False
