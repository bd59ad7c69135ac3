"""The state directory: what a device keeps across a power cycle.

  root/   what the device wrote to its root file system
  srv/    the data partition
  flash   the flash with the boot environment
  log/    what the device's programs said
  lock    held by a running device; pid and options.json belong to it
"""

import fcntl
import json
import os
import shutil
import time

from launch import DEFAULT_ENV, DeviceError

import flashimage

LOCK_LIMIT = 5.0


class State:
    def __init__(self, directory):
        self.directory = os.path.abspath(directory)

    def path(self, *parts):
        return os.path.join(self.directory, *parts)

    def lock(self):
        """The descriptor of the lock, which whoever inherits it keeps held. Raises DeviceError when a device has it."""
        os.makedirs(self.path("log"), exist_ok=True)
        fd = os.open(self.path("lock"), os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o644)
        end = time.monotonic() + 0.5  # whoever only looks holds it for a moment
        while True:
            try:
                fcntl.flock(fd, fcntl.LOCK_EX | fcntl.LOCK_NB)
                break
            except BlockingIOError:
                if time.monotonic() > end:
                    os.close(fd)
                    raise DeviceError(f"a device runs already in {self.directory}") from None
                time.sleep(0.01)
        if os.path.exists(self.path("pid")):
            os.unlink(self.path("pid"))
        return fd

    def locked(self):
        try:
            fd = os.open(self.path("lock"), os.O_RDWR | os.O_CLOEXEC)
        except FileNotFoundError:
            return False
        try:
            fcntl.flock(fd, fcntl.LOCK_SH | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
        finally:
            os.close(fd)
        return False

    def wait_unlocked(self, limit=LOCK_LIMIT):
        end = time.monotonic() + limit
        while self.locked():
            if time.monotonic() > end:
                raise DeviceError(f"the device in {self.directory} did not end within {limit:g} s")
            time.sleep(0.005)

    def init_pid(self):
        """The machine's id of the running device's process 1, None when no device runs."""
        if not self.locked():
            return None
        try:
            with open(self.path("pid")) as file:
                return int(file.read())
        except (FileNotFoundError, ValueError):
            return None

    def save_options(self, options):
        with open(self.path("options.json"), "w") as file:
            json.dump(options, file)

    def options(self):
        """The options of the last start, {} before the first."""
        try:
            with open(self.path("options.json")) as file:
                return json.load(file)
        except FileNotFoundError:
            return {}

    def read_flash(self):
        """The boot environment, as flashimage.unpack() gives it; that of a new device before the first start."""
        if not os.path.exists(self.path("flash")):
            return flashimage.read_directory(DEFAULT_ENV)
        with open(self.path("flash"), "rb") as file:
            return flashimage.unpack(file.read())

    def write_flash(self, files):
        os.makedirs(self.directory, exist_ok=True)
        with open(self.path("flash"), "wb") as file:
            file.write(flashimage.pack(files).ljust(flashimage.FLASH_SIZE, b"\xff"))

    def erase(self):
        if self.locked():
            raise DeviceError("the device runs: stop it first")
        if os.path.isdir(self.directory):
            shutil.rmtree(self.directory)
