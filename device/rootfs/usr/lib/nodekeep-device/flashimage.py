"""The image that a boot environment becomes in the simulated flash.

An image is a header (magic, length of the payload, its CRC-32) and the environment's files one after the other, each
behind the lengths of its path and its content. What follows the payload in the flash does not count.
"""

import os
import struct
import zlib

FLASH_SIZE = 256 * 1024

MAGIC = b"SIMENV2\n"
HEADER = struct.Struct(">8sII")
FILE = struct.Struct(">HI")


class DamagedImage(Exception):
    """The flash holds no valid environment; the text says what is wrong with it."""


def pack(files):
    """The image of `files`, a dictionary from relative path to content (bytes)."""
    data = b""
    for path, content in sorted(files.items()):
        name = os.fsencode(path)
        data += FILE.pack(len(name), len(content)) + name + content
    return HEADER.pack(MAGIC, len(data), zlib.crc32(data)) + data


def unpack(flash):
    """The files in `flash` (bytes), as pack() takes them. Raises DamagedImage."""
    if not flash.strip(b"\xff"):
        raise DamagedImage("the flash is erased")
    if len(flash) < HEADER.size:
        raise DamagedImage("the flash is too short for an environment")
    magic, length, checksum = HEADER.unpack_from(flash)
    if magic != MAGIC:
        raise DamagedImage("no environment header found")
    data = flash[HEADER.size : HEADER.size + length]
    if len(data) != length or zlib.crc32(data) != checksum:
        raise DamagedImage("the checksum is wrong")
    files = {}
    place = 0
    while place < length:
        name_length, content_length = FILE.unpack_from(data, place)
        name = place + FILE.size
        content = name + name_length
        place = content + content_length
        files[os.fsdecode(data[name:content])] = data[content:place]
    return files


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
