#!/usr/bin/python3
"""Tells the device's host name, or changes it.

hostname.py          tells it
hostname.py NAME     changes it; a name that is refused leaves the old one and ends with status 1
"""

import asyncio
import sys

from dbus_fast import BusType
from dbus_fast.aio import MessageBus

SERVICE = "com.ozt.nodekeep"


async def main(names):
    bus = await MessageBus(bus_type=BusType.SYSTEM).connect()
    description = await bus.introspect(SERVICE, "/system")
    system = bus.get_proxy_object(SERVICE, "/system", description).get_interface("local.System")
    if not names:
        print(await system.get_hostname())
        return
    await system.set_hostname(names[0])
    # A refusal is no error on the bus.
    if (name := await system.get_hostname()) != names[0]:
        sys.exit(f'The device does not take the name "{names[0]}" and stays "{name}".')


asyncio.run(main(sys.argv[1:]))
