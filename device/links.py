"""The device's ways to the world outside: other devices, and the machine's loopback."""

import itertools
import os
import socket
import subprocess
import sys

import launch
import places
from launch import DeviceError

FORWARDER = os.path.join(places.DEVICE, "forwarder")
# Network managers leave interfaces of such a name alone.
LINK_NAME = "ve-dut{}"


class Links:
    """The part of SimulatedDevice that joins it to others. All of it ends with the device."""

    def connect(self, other):
        """Joins this device and another running one by a cable. The result is their addresses on it, ours first."""
        ends = (self, other)
        if self.network_pid() == other.network_pid():
            raise DeviceError("a device can't be joined to itself")
        taken = self.interfaces() | other.interfaces()
        number = next(number for number in itertools.count(1) if LINK_NAME.format(number) not in taken)
        name = LINK_NAME.format(number)
        here, there = (["name", name, "netns", str(device.network_pid())] for device in ends)
        run(["ip", "link", "add", *here, "type", "veth", "peer", *there])
        addresses = [f"10.71.{number}.{host}" for host in (1, 2)]
        for device, address in zip(ends, addresses):
            run([*device.into_network(), "ip", "address", "add", f"{address}/24", "dev", name])
            run([*device.into_network(), "ip", "link", "set", name, "up"])
        return tuple(addresses)

    def listen(self, port, attached=True):
        """Lets programs on the machine reach the device's web server at a port of the machine's loopback.

        attached    it ends with the thread that calls this; with the device it ends in any case
        """
        try:
            listener = socket.create_server(("127.0.0.1", port))
        except (OSError, OverflowError) as error:
            raise DeviceError(f"can't listen on port {port}: {error}") from error
        with listener:
            command = [*self.into_network(), sys.executable, FORWARDER, str(listener.fileno()), str(self.network_pid())]
            return subprocess.Popen(
                [*launch.DIE_WITH_PARENT, *command] if attached else command,
                pass_fds=[listener.fileno()],
                cwd="/",
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                start_new_session=True,
            )

    def interfaces(self):
        """The names of the device's network interfaces."""
        lines = run([*self.into_network(), "ip", "-oneline", "link"]).splitlines()
        return {line.split()[1].rstrip(":").partition("@")[0] for line in lines}

    def network_pid(self):
        pid = self.init_pid
        if not pid:
            raise DeviceError("the device does not run")
        return pid

    def into_network(self):
        """The start of a command line that runs a program of the machine in the device's network."""
        return ["nsenter", f"--target={self.network_pid()}", "--net", "--"]


def run(command):
    """What a program prints that has to succeed."""
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise DeviceError(f"{command[0]}: {result.stderr.strip()}")
    return result.stdout
