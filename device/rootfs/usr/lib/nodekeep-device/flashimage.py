"""The image that a boot environment becomes in the simulated flash.

An image is a header (magic, length of the payload, its SHA-256) and a tar archive of the environment's files. What
follows the payload in the flash does not count.
"""

import hashlib
import io
import os
import struct
import tarfile

FLASH_SIZE = 256 * 1024

MAGIC = b"SIMENV1\n"
HEADER = struct.Struct(">8sI32s")


class DamagedImage(Exception):
    """The flash holds no valid environment; the text says what is wrong with it."""


def pack(files):
    """The image of `files`, a dictionary from relative path to content (bytes)."""
    payload = io.BytesIO()
    with tarfile.open(fileobj=payload, mode="w", format=tarfile.GNU_FORMAT) as archive:
        for path in sorted(files):
            member = tarfile.TarInfo(path)
            member.size = len(files[path])
            archive.addfile(member, io.BytesIO(files[path]))
    data = payload.getvalue()
    return HEADER.pack(MAGIC, len(data), hashlib.sha256(data).digest()) + data


def unpack(flash):
    """The files in `flash` (bytes), as pack() takes them. Raises DamagedImage."""
    if not flash.strip(b"\xff"):
        raise DamagedImage("the flash is erased")
    if len(flash) < HEADER.size:
        raise DamagedImage("the flash is too short for an environment")
    magic, length, digest = HEADER.unpack_from(flash)
    if magic != MAGIC:
        raise DamagedImage("no environment header found")
    data = flash[HEADER.size : HEADER.size + length]
    if len(data) != length or hashlib.sha256(data).digest() != digest:
        raise DamagedImage("the checksum is wrong")
    with tarfile.open(fileobj=io.BytesIO(data)) as archive:
        return {member.name: archive.extractfile(member).read() for member in archive if member.isfile()}


def read_directory(directory):
    """The regular files below a directory, as pack() takes them. Raises OSError."""

    def fail(error):
        raise error

    files = {}
    for parent, _, names in os.walk(directory, onerror=fail):
        for path in (os.path.join(parent, name) for name in names):
            if os.path.isfile(path) and not os.path.islink(path):  # a FIFO would hang its reader
                with open(path, "rb") as file:
                    files[os.path.relpath(path, directory)] = file.read()
    return files


def blank(size=FLASH_SIZE):
    """A flash as it is after erasing."""
    return b"\xff" * size
