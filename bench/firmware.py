"""Firmware on the data partition, as the daemon finds it at a start."""

import os

PLACE = "/srv/fwupdate"
FILES = ("linuximage", "linuximage.md5", "root.ubi", "root.ubi.md5")


def make_firmware(count):
    """Lays so many complete firmware directories, those that lie there already included."""
    for number in range(count):
        directory = f"{PLACE}/fwupdate{number}"
        if os.path.exists(directory):
            continue
        os.makedirs(directory)
        for name in FILES:
            write(f"{directory}/{name}", "image\n")
        write(
            f"{directory}/control",
            f'#!/bin/sh\nVERSION="4.{number}"\nRELEASENAME="bench"\nSVNVERSION=11411\n'
            'MIN_UPDATER_VERSION=3\nDATE="2026-11-21"\n',
        )


def write(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)
