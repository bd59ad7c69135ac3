"""Devices whose clock can be set."""

import os
import subprocess

import pytest
import simdevice
from insidetools import sanitizer_environment

HERE = os.path.dirname(os.path.realpath(__file__))
CLOCK = "/usr/local/lib/device-clock.so"


@pytest.fixture(scope="session")
def device_clock(tmp_path_factory):
    """The library that gives the programs that have it preloaded a clock of their own."""
    library = tmp_path_factory.mktemp("clock") / "device-clock.so"
    source = os.path.join(HERE, "DeviceClock.cpp")
    subprocess.run(["c++", "-std=c++20", "-O1", "-shared", "-fPIC", "-o", library, source], check=True)
    return library.read_bytes()


@pytest.fixture
def device_class(device_clock):
    """A device whose daemon and tools have a clock of their own, which the daemon may set."""

    class ClockDevice(simdevice.SimulatedDevice):
        def start(self, *, env=None, **options):
            self.write(CLOCK, device_clock)
            # The sanitizers want to come first, and need not.
            sanitizers = sanitizer_environment(ASAN_OPTIONS="verify_asan_link_order=0")
            super().start(env={"LD_PRELOAD": CLOCK, **sanitizers, **(env or {})}, **options)

        def exec(self, args, *, env=None, **options):
            return super().exec(args, env={"LD_PRELOAD": CLOCK, **(env or {})}, **options)

    return ClockDevice
