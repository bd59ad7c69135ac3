"""Devices with a network, clients of /system/network, and what can be seen of the port."""

import pytest
from busclient import BusClient
from insidetools import job_calls
from mockservices import ConnmanMock
from networkclient import NetworkClient
from simdevice import SimulatedDevice


class NetworkDevice(SimulatedDevice):
    """A device whose eth0 can be looked at."""

    def jobs(self):
        """What the init system was told of all jobs but "ntp", such as "Start hostname", in order."""
        return [f"{each['call']} {each['job']}" for each in job_calls(self) if each["job"] != "ntp"]

    def platform_log_of(self, call):
        """The arguments of each call of that name that the platform got."""
        return [each["args"] for each in self.platform_log() if each["call"] == call]


@pytest.fixture
def device_class():
    return NetworkDevice


@pytest.fixture
def network(own_device):
    """A client of /system/network on a device without connman."""
    with BusClient(own_device) as bus:
        yield NetworkClient(bus)


@pytest.fixture
def connman(own_device):
    """A mock of connman on a device without the real one."""
    with ConnmanMock(own_device) as mock:
        yield mock


@pytest.fixture
def connected_device(new_device):
    """A device with the real connman, which has got its first lease."""
    new_device.start(network=True)
    with BusClient(new_device) as bus:
        network = NetworkClient(bus)
        new_device.wait_for(lambda: network.ipaddress, limit=20, what="the first lease to be read")
    return new_device


@pytest.fixture
def connected(connected_device):
    """A client of /system/network there."""
    with BusClient(connected_device) as bus:
        yield NetworkClient(bus)
