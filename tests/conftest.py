"""What the system tests share: devices, clients of their bus, and a look at the daemon's health after each test."""

import contextlib
import json
import os
import random
import signal
import sys

import pytest

TESTS = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(TESTS)
sys.path[:0] = [os.path.join(PROJECT, "device"), os.path.join(PROJECT, "tools"), os.path.join(TESTS, "support")]

import busclient  # noqa: E402
import simdevice  # noqa: E402
from insidetools import SPARING  # noqa: E402

STAGE = os.environ.get("NODEKEEP_STAGE") or simdevice.DEFAULT_INSTALL
COMPLAINTS = ("ERROR: AddressSanitizer", "runtime error", "LeakSanitizer", "ThreadSanitizer", "ASSERT")

used_devices = pytest.StashKey[list]()


def pytest_addoption(parser):
    parser.addoption("--long", action="store_true", help="the long form of the tests that have one: takes hours")
    parser.addoption("--seed", type=int, help="what tests with random values start from, to repeat one that failed")


def pytest_configure(config):
    config.addinivalue_line(
        "markers", "slow(seconds=30): takes so long, as it waits for the daemon's own time limits; runs first"
    )
    config.addinivalue_line("markers", "ends_daemon: leaves the daemon ended, on purpose")
    if not hasattr(config, "workerinput"):  # workers have it from here, and may not run on a main thread
        # A shell has all that it starts in the background ignore Ctrl-C, which tests send to what they start.
        signal.signal(signal.SIGINT, signal.default_int_handler)


def seconds_waited(item):
    marker = item.get_closest_marker("slow")
    return marker.kwargs.get("seconds", 30) if marker else 0


@pytest.hookimpl(tryfirst=True)  # before xdist looks for groups
def pytest_collection_modifyitems(items):
    """The tests that wait out a time limit start first, and those that share a device stay with one worker."""
    items.sort(key=seconds_waited, reverse=True)
    for item in items:
        if "module_device" in item.fixturenames:
            item.add_marker(pytest.mark.xdist_group(item.module.__name__))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    report = outcome.get_result()
    if report.failed:
        for device, start in item.stash.get(used_devices, []):
            report.sections.append(("the daemon's log", device.daemon_log(start)))


def recorded(terminalreporter, name):
    """The values that tests have recorded under a name."""
    reports = [report for outcome in ("passed", "failed") for report in terminalreporter.stats.get(outcome, [])]
    return [value for report in reports for known, value in report.user_properties if known == name]


def pytest_terminal_summary(terminalreporter):
    """The table of the power cuts: at which step, which version came up, what was lost. The number of faults."""
    faults = sum(recorded(terminalreporter, "faults"))
    if faults:
        terminalreporter.section(f"{faults} faults of system calls and tools")
    rows = [json.loads(value) for value in recorded(terminalreporter, "power cut")]
    if not rows:
        return
    terminalreporter.section("power cuts on the way through an update")
    for step, version, lost in sorted(rows, key=lambda row: row[0]):
        terminalreporter.write_line(f"{step:60} {version:8} {', '.join(lost) or '-'}")


def pytest_sessionfinish(session):
    """A test that was skipped has not passed."""
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    if reporter and reporter.stats.get("skipped") and session.exitstatus == pytest.ExitCode.OK:
        reporter.ensure_newline()
        reporter.write_line("Tests were skipped: that counts as a failure.", red=True)
        session.exitstatus = pytest.ExitCode.TESTS_FAILED


def complaints(log):
    return [line for line in log.splitlines() if any(complaint in line for complaint in COMPLAINTS)]


@contextlib.contextmanager
def watched(device, node):
    """Lets a test use a device, and sees to it that the daemon has survived it in good health."""
    start = len(device.daemon_log())
    node.stash.setdefault(used_devices, []).append((device, start))
    yield device
    assert not complaints(device.daemon_log(start))
    if device.running and not node.get_closest_marker("ends_daemon"):
        daemon = device.daemon_status()
        assert daemon is None or daemon["running"], f"the daemon ended with status {daemon['status']}"


@pytest.fixture(scope="session")
def long_form(request):
    """Whether a test that could go on for ever is to take its time."""
    return request.config.getoption("long")


@pytest.fixture
def seed(request, long_form):
    """What random values start from: always the same in the short form, which so tests the same each time."""
    given = request.config.getoption("seed")
    return given if given is not None else random.getrandbits(32) if long_form else 1


@pytest.fixture(scope="session")
def stage():
    """The directory with the installed daemon."""
    return STAGE


@pytest.fixture
def device_class():
    """What the devices of a test are made of; a folder's own conftest.py may put a class that knows more here."""
    return simdevice.SimulatedDevice


@contextlib.contextmanager
def ended(device):
    """Sees to the end of a device. The daemon of a coverage build writes its counts when it is told to end, and looks
    for leaks."""
    last_words = ""
    try:
        yield device
    finally:
        if "GCOV_PREFIX" in os.environ and device.running:
            start = len(device.daemon_log())
            with contextlib.suppress(simdevice.DeviceError):  # it is just booting
                device.stop_daemon()
                last_words = device.daemon_log(start)
        device.power_cut()
    assert not complaints(last_words), last_words


@contextlib.contextmanager
def kept_apart(node, device):
    """Lets one test alone have a device, which ends with it."""
    with ended(device), watched(device, node):
        yield device


@pytest.fixture
def new_device(request, tmp_path, device_class):
    """A new device that is not started yet, so that its flash and files can be prepared."""
    with kept_apart(request.node, device_class(tmp_path / "state", STAGE)) as device:
        yield device


@pytest.fixture
def other_device(request, tmp_path, device_class):
    """A second running device, for what devices have to do with each other."""
    with kept_apart(request.node, device_class(tmp_path / "other", STAGE)) as device:
        device.start()
        yield device


@pytest.fixture
def own_device(new_device):
    """A running device that only this test has."""
    new_device.start()
    return new_device


@pytest.fixture(scope="module")
def module_device(tmp_path_factory):
    with ended(simdevice.SimulatedDevice(tmp_path_factory.mktemp("device") / "state", STAGE)) as device:
        device.start()
        yield device


@pytest.fixture
def device(request, module_device):
    """A running device that the tests of a module share."""
    with watched(module_device, request.node):
        yield module_device


@pytest.fixture
def client(device):
    """A client on the shared device."""
    with busclient.BusClient(device) as client:
        yield client


@pytest.fixture
def own_client(own_device):
    """A client on the test's own device."""
    with busclient.BusClient(own_device) as client:
        yield client


@pytest.fixture
def sparing_device(new_device):
    """A running device of a test's own whose daemon gives freed memory back at once, under a sanitizer too, so that its
    size tells of leaks alone."""
    new_device.start(env=SPARING)
    return new_device


@pytest.fixture
def sparing_client(sparing_device):
    """A client there."""
    with busclient.BusClient(sparing_device) as client:
        yield client
