"""A server on a device's loopback that keeps what it hears and answers as it is told."""

import contextlib
import itertools
import os
import subprocess

LISTENER = os.path.join(os.path.dirname(os.path.realpath(__file__)), "raw_listener.py")
ports = itertools.count(8081)


class Listener:
    """What a server on the device's loopback has heard."""

    def __init__(self, device):
        self.device = device
        self.port = next(ports)
        self.file = f"/run/heard-{self.port}"

    @property
    def address(self):
        return f"127.0.0.1:{self.port}"

    def heard(self):
        return self.device.json_lines(self.file)

    def wait_heard(self, count):
        self.device.wait_for(lambda: len(self.heard()) >= count, 20, f"{count} requests")


@contextlib.contextmanager
def listening(device, manner):
    """Runs a server of that manner, see raw_listener.py, and yields its Listener."""
    listener = Listener(device)
    command = [*device.entrance(), "/usr/bin/python3", LISTENER, str(listener.port), manner, listener.file]
    with subprocess.Popen(command, cwd="/") as process:
        try:
            open_port = f"grep -q ':{listener.port:04X} 00000000:0000 0A' /proc/net/tcp"
            device.wait_for(lambda: device.exec(["sh", "-c", open_port]).returncode == 0, what="the listener")
            yield listener
        finally:
            process.kill()
