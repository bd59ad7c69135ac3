"""What happens at each boot of the simulated device before its first service starts."""

import fcntl
import os
import socket
import struct
import sys
import time

import firmwareflash
import flashimage
import inside
import mounts

SRV_SOURCE = "/dev/.device/srv"
LOG = "/dev/.device/log/device.log"

# Of <linux/sockios.h> and <net/if.h>
SIOCSIFFLAGS = 0x8914
IFF_UP = 0x1

boots = 0


def refuse_outside(machine):
    """Ends the program unless it is process 1 of namespaces that are not the machine's."""
    own = {os.readlink(f"/proc/self/ns/{name}") for name in ("mnt", "pid", "uts", "net", "ipc")}
    if os.getpid() != 1 or not machine or own & set(machine):
        sys.exit("init: refusing to run outside the simulated device, only its launcher starts this")


def log(line):
    with open(LOG, "a") as file:
        file.write(f"{time.strftime('%Y-%m-%dT%H:%M:%S')} {line}\n")


def prepare(options):
    """Takes what a device finds when its kernel has come up: marker, host name, loopback, data partition, a flash
    that is never empty of all meaning."""
    global boots
    boots += 1
    log(f"boot {boots}")
    if os.path.getsize(firmwareflash.FLASH) == 0:
        write_new_flash(options["flash"])
    firmwareflash.install_named_firmware(log)
    with open("/etc/hostname") as file:
        name = file.read().strip()
    with open("/proc/sys/kernel/hostname", "w") as file:
        file.write(name)
    with open(inside.MARKER, "w") as file:
        file.write(f"{name}\n")
    bring_up_loopback()
    os.makedirs("/run/udev", exist_ok=True)
    with open("/run/udev/control", "w"):
        pass  # libudev listens to the messages of a device manager only where it sees one at work
    if os.path.ismount("/srv") and not options["srv"]:
        mounts.unmount("/srv")
    if options["srv"] and not os.path.ismount("/srv"):
        mounts.bind(SRV_SOURCE, "/srv")


def bring_up_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sH14x", b"lo", IFF_UP))


def write_new_flash(directory):
    image = flashimage.pack(flashimage.read_directory(directory))
    with open(firmwareflash.FLASH, "r+b") as flash:
        flash.write(image.ljust(flashimage.FLASH_SIZE, b"\xff"))


def clear_volatile():
    """Empties what is lost at a reboot, and never what the machine has mounted below it."""
    os.spawnlp(os.P_WAIT, "sh", "sh", "-c", "find /run /tmp /dev/shm -xdev -mindepth 1 -delete 2>/dev/null")
