"""Devices with a network, and clients of /system/network."""

import pytest
from busclient import BusClient
from mockservices import ConnmanMock
from networkclient import NetworkClient


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
        new_device.wait_for(lambda: network.ipaddress, limit=60, what="the first lease to be read")
    return new_device


@pytest.fixture
def connected(connected_device):
    """A client of /system/network there."""
    with BusClient(connected_device) as bus:
        yield NetworkClient(bus)
