"""Devices for the PLC tests."""

import pytest
from plcdevice import PlcDevice


@pytest.fixture
def device_class():
    return PlcDevice


@pytest.fixture
def device(own_device):
    """A running device of the test's own with a PLC runtime and its files."""
    own_device.install_runtime()
    return own_device


@pytest.fixture
def client(own_client):
    return own_client
