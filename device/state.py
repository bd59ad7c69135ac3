"""The state directory: what a device keeps across a power cycle.

  root/   what the device wrote to its root file system
  usr/    what it wrote below "/usr"
  srv/    the data partition
  flash   the flash with the boot environment
  log/    what the device's programs said
  lock    held by a running device; pid and options.json belong to it
  layout-3  tells that all this is of a form that this version knows
"""

import fcntl
import json
import os
import shutil
import time

from launch import DeviceError
from places import DEFAULT_ENV

import flashimage

LOCK_LIMIT = 30.0
LAYOUT = "layout-3"  # a file whose name tells the form of the directory


class State:
    def __init__(self, directory):
        self.directory = os.path.abspath(directory)

    def path(self, *parts):
        return os.path.join(self.directory, *parts)

    def lock(self):
        """The descriptor of the lock, which whoever inherits it keeps held. Raises DeviceError when a device has it."""
        self.prepare()
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

    def prepare(self):
        """Makes the directory where it is missing. Raises DeviceError for one with other things in it."""
        try:
            os.makedirs(self.directory, exist_ok=True)
            self.refuse_foreign_things()
            if not os.path.exists(self.path(LAYOUT)):
                with open(self.path(LAYOUT), "w"):
                    pass
            os.makedirs(self.path("log"), exist_ok=True)
        except OSError as error:
            raise DeviceError(f"{self.directory} can't be a state directory: {error.strerror}") from error

    def refuse_foreign_things(self):
        if not os.path.isdir(self.directory) or os.path.exists(self.path(LAYOUT)):
            return
        if self.of_another_version():
            raise DeviceError(f"{self.directory} holds a device of another version of this program: erase it first")
        if os.listdir(self.directory):
            raise DeviceError(f"{self.directory} holds other things than a device: name another directory")

    def of_another_version(self):
        first_layout = ("flash", "root", "srv", "lock")
        return any(name.startswith("layout-") and name != LAYOUT for name in os.listdir(self.directory)) or all(
            os.path.exists(self.path(part)) for part in first_layout
        )

    def locked(self):
        try:
            fd = os.open(self.path("lock"), os.O_RDWR | os.O_CLOEXEC)
        except (FileNotFoundError, NotADirectoryError):
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
        self.prepare()
        with open(self.path("flash"), "wb") as file:
            file.write(flashimage.pack(files).ljust(flashimage.FLASH_SIZE, b"\xff"))

    def erase(self):
        if self.locked():
            raise DeviceError("the device runs: stop it first")
        if not os.path.isdir(self.directory):
            return
        if not self.of_another_version():
            self.refuse_foreign_things()
        shutil.rmtree(self.directory)
