#!/usr/bin/python3
"""Gives the device's port an address, or has it ask for one.

address.py dhcp
address.py ADDRESS NETMASK GATEWAY [NAMESERVER]

The device takes it 1.5 seconds after saveChanges, so that who is connected through the port still sees the answer.
"""

import asyncio
import sys

from dbus_fast import BusType
from dbus_fast.aio import MessageBus

SERVICE = "com.ozt.nodekeep"


async def interface(bus, path, name):
    description = await bus.introspect(SERVICE, path)
    return bus.get_proxy_object(SERVICE, path, description).get_interface(name)


async def main(arguments):
    if arguments != ["dhcp"] and len(arguments) not in (3, 4):
        print("Usage: address.py dhcp | address.py ADDRESS NETMASK GATEWAY [NAMESERVER]", file=sys.stderr)
        sys.exit(2)
    bus = await MessageBus(bus_type=BusType.SYSTEM).connect()
    port = await interface(bus, "/system/network", "local.NetworkInterface")
    if arguments != ["dhcp"]:
        address, netmask, gateway, *nameserver = arguments
        await port.set_ipaddress(address)
        await port.set_netmask(netmask)
        await port.set_gateway(gateway)
        await port.set_nameserver("".join(nameserver))
        # A text that is no address is taken and reads back empty.
        if not all((await port.get_ipaddress(), await port.get_netmask(), await port.get_gateway())):
            await port.call_get_current_settings()
            sys.exit(f"One of these is no address: {address} {netmask} {gateway}")
    await port.set_dhcp(arguments == ["dhcp"])
    if not await port.call_save_changes():
        sys.exit("The device can't write its interfaces file.")
    # The boot loader has the same settings; they are in memory by now.
    loader = await interface(bus, "/loader", "local.FwUpdateSettings")
    await loader.call_save_env()


asyncio.run(main(sys.argv[1:]))
