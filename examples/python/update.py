#!/usr/bin/python3
"""Brings a firmware package to the device and follows it until the device is up with it, both reboots included.

update.py PACKAGE    a file on the device whose name ends in "fwupdate"; the daemon removes it

With DBUS_SYSTEM_BUS_ADDRESS it can run on another machine, and so lives through the reboots. Status 1: refused, or not
up again in time.
"""

import asyncio
import json
import os
import sys
import time

from dbus_fast import BusType, DBusError, Message, Variant
from dbus_fast.aio import MessageBus

SERVICE = "com.ozt.nodekeep"


def stage(number, text):
    if sys.stdout.isatty():
        print(f"\r\033[K[{number}/6] {text}", end="\n" if number == 6 else "", flush=True)
    else:
        print(f"[{number}/6] {text}", flush=True)


async def connect():
    bus = await MessageBus(bus_type=BusType.SYSTEM).connect()
    # That it ends one day is no error that somebody has to hear of.
    end = asyncio.ensure_future(bus.wait_for_disconnect())
    end.add_done_callback(lambda end: end.cancelled() or end.exception())
    return bus


async def call(bus, path, interface, member, signature="", *body, service=SERVICE):
    message = Message(service, path, interface, member, signature=signature, body=list(body))
    reply = await bus.call(message)
    if reply.error_name:
        raise DBusError(reply.error_name, str(reply.body))
    return reply.body[0] if reply.body else None


async def get(bus, path, interface, name):
    answer = await call(bus, path, "org.freedesktop.DBus.Properties", "Get", "ss", interface, name)
    return answer.value


async def records(bus):
    """The firmware on the device, by path; while one is started there may be none."""
    listed = await call(bus, "/loader", "local.FwUpdateSettings", "jsonFwUpdates")
    return {record["path"]: record for record in json.loads(listed)}


async def keep(bus, package):
    """Has the device unpack and test a package, and returns the record that is made of it."""
    before = await records(bus)
    # Kept first, so that it can be told from one that is refused.
    setting = ("local.FwUpdateSettings", "onlyUploadFirmware", Variant("b", True))
    await call(bus, "/loader", "org.freedesktop.DBus.Properties", "Set", "ssv", *setting)
    stage(1, f"announcing {package}")
    upload = [package, os.path.basename(package)]
    await bus.send(Message.new_signal("/", "com.ozt.httpdata", "fileUploaded", "ss", upload))
    stage(2, "unpacking and testing")
    limit = time.monotonic() + 300
    while time.monotonic() < limit:
        new = {path: record for path, record in (await records(bus)).items() if path not in before}
        if new:
            return new.popitem()[1]
        await asyncio.sleep(0.2)
    sys.exit("The device has refused the package: its event log tells at which step.")


async def start(bus, record):
    """Starts a firmware; returns when the device has gone down."""
    stage(3, f"starting {record['path']}, version {record['version']}")
    try:
        await asyncio.wait_for(call(bus, record["path"], "local.NandUpdate", "startUpdate"), 120)
        await asyncio.wait_for(bus.wait_for_disconnect(), 120)
    except asyncio.TimeoutError:
        sys.exit("The device does not go down.")
    except (OSError, EOFError, DBusError):
        pass  # the answer is lost with the connection


async def up_again():
    """Waits until the device is up with its settings; a first start ends by itself, with the second reboot."""
    stage(4, "the boot stage writes the images")
    limit = time.monotonic() + 900
    while time.monotonic() < limit:
        try:
            bus = await connect()
            if not await get(bus, "/loader", "local.FwUpdateSettings", "factoryInit"):
                return await get(bus, "/system", "local.System", "oztversion")
            stage(5, "first start: the settings are brought back")
            await asyncio.wait_for(bus.wait_for_disconnect(), 300)
        except (OSError, EOFError, DBusError, asyncio.TimeoutError):
            await asyncio.sleep(0.2)
    sys.exit("The device does not come up.")


async def main(arguments):
    if len(arguments) != 1 or not arguments[0].endswith("fwupdate"):
        sys.exit("Usage: update.py PACKAGE, a file on the device whose name ends in fwupdate")
    bus = await connect()
    await start(bus, await keep(bus, arguments[0]))
    stage(6, f"up with version {await up_again()}")


asyncio.run(main(sys.argv[1:]))
