"""The boot stage's share in an update: it installs the firmware that the boot environment names.

A device of flash chips has its root file system written anew; here, what an image brings is laid over what the device
has made of it. The name is taken out of the environment last, so that a power cut on the way only has all of this done
again at the next boot.
"""

import os

import flashimage

FLASH = "/dev/mtdblock1"
IMAGE = "/dev/.device/image"  # the root file system as the image has it, read-only
FIRMWARES = "/dev/.device/srv/fwupdate"  # on the data partition, whether that is mounted or not
MARKER = "/new_firmware"
VERSION_RECORD = "/etc/oztversion.conf"
PLC_CONFIGURATION = "/CODESYSControl/CODESYSControl.cfg"
NEW_PLC_CONFIGURATION = "/usr/lib/nodekeep-device/CODESYSControl.cfg"  # on devices that have a PLC


def install_named_firmware(log):
    """Looks into the environment's file "update" and does what it says; `log` takes lines for people."""
    try:
        with open(FLASH, "rb") as flash:
            files = flashimage.unpack(flash.read())
    except flashimage.DamagedImage as damage:
        log(f"boot environment: {damage}")
        return
    name = variables(files.get("update", b"")).get("NAND_UPDATE")
    if name is None:
        return
    firmware = os.path.join(FIRMWARES, name)
    if name and all(os.path.isfile(os.path.join(firmware, image)) for image in ("linuximage", "root.ubi")):
        log(f"installing firmware {name}")
        write_root(firmware)
    else:
        log(f"no firmware {name!r} on the data partition, booting the old one")
    del files["update"]
    with open(FLASH, "r+b") as flash:
        flash.write(flashimage.pack(files).ljust(flashimage.FLASH_SIZE, b"\xff"))
    os.sync()


def write_root(firmware):
    for directory in ("/etc", "/var/lib/connman"):
        replace_by_image(directory)
    if os.path.exists(PLC_CONFIGURATION):
        os.unlink(PLC_CONFIGURATION)
    if os.path.isdir(os.path.dirname(PLC_CONFIGURATION)):
        run("cp", NEW_PLC_CONFIGURATION, PLC_CONFIGURATION)
    with open(os.path.join(firmware, "control"), "rb") as file:
        control = variables(file.read())
    # The image in a package made for this device holds random bytes; its version record is the control file's.
    with open(VERSION_RECORD, "w") as file:
        for name in ("VERSION", "SVNVERSION", "RELEASENAME"):
            file.write(f'{name}="{control.get(name, "")}"\n')
    with open(MARKER, "w"):
        pass
    os.sync()


def replace_by_image(directory):
    os.makedirs(directory, exist_ok=True)
    for entry in os.scandir(directory):
        if entry.is_dir(follow_symlinks=False):
            run("rm", "-r", entry.path)
        else:
            os.unlink(entry.path)
    if os.path.isdir(f"{IMAGE}{directory}"):
        run("cp", "-a", f"{IMAGE}{directory}/.", directory)


def run(*command):
    """Runs a program to its end. Raises OSError when it fails."""
    if os.spawnvp(os.P_WAIT, command[0], command) != 0:
        raise OSError(f"{' '.join(command)} failed")


def variables(text):
    """The variables of a variable file, without the quotes around their values."""
    lines = (line.partition("=") for line in text.decode(errors="replace").splitlines() if not line.startswith("#"))
    return {name.strip(): value.strip().strip('"') for name, divider, value in lines if divider}
