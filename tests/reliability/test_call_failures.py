"""Each call of the kernel that an operation makes fails: what becomes of the operation, and of the daemon."""

import errno
import zlib

import pytest
from expectations import differences
from callfailures import Faults, built, errors_of
from operations import OPERATIONS, Bench
from simdevice import DeviceError

# Written at each start, as it is read then.
CAN = "/etc/network/canconfig"

# Of a call that comes again and again, so many are let fail.
OFTEN = 2

# The short form takes one place of so many.
SHORT = 3


@pytest.fixture(scope="session")
def fault_library(tmp_path_factory):
    return built(tmp_path_factory.mktemp("faults"))


@pytest.fixture
def bench(new_device, fault_library, small_package):
    """A device in use whose daemon can meet faults."""
    new_device.start(daemon=False)
    bench = Bench(new_device, Faults.environment, small_package)
    bench.faults = Faults(new_device, fault_library)
    bench.prepare()
    bench.start()
    yield bench
    bench.faults.close()
    bench.close()


def places_of(bench, operation):
    """The places that an operation comes by, and all that is seen before and after it."""
    operation.reset(bench)
    before = operation.seen(bench, lambda bench: None)
    recorder = bench.faults.recorded()
    places = recorder.__enter__()
    after = operation.seen(bench, operation.do, lambda: recorder.__exit__(None, None, None))
    return [place for place in places if place.occurrence <= OFTEN], before, after


def faults_of(name, places, long_form):
    """Place and error: all of them, or of every third place one."""
    for place in places:
        errors = errors_of(place)
        dice = zlib.crc32(f"{name}, {place}, {place.occurrence}".encode())
        if long_form:
            yield from ((place, error) for error in errors)
        elif errors and dice % SHORT == 0:
            yield place, errors[dice // SHORT % len(errors)]


@pytest.mark.parametrize("name", OPERATIONS)
def test_an_operation_survives_each_fault(bench, name, long_form, record_property):
    operation = OPERATIONS[name]
    operation.reset(bench)
    operation.do(bench)
    places, before, without = places_of(bench, operation)
    wrong = []

    faults = list(faults_of(name, places, long_form))
    met = 0
    for place, error in faults:
        operation.reset(bench)
        held = bench.holds()
        bench.faults.arm(place, error)
        got = operation.seen(bench, operation.do, bench.faults.disarm)
        met += bench.faults.have_come
        found = differences(name, str(place), before, without, got)
        if found:
            wrong.append((str(place), place.occurrence, errno.errorcode[error], found))
        bench.device.wait_for(lambda: bench.holds_no_more(held), what=f"{place} to leave nothing behind")

    record_property("faults", met)
    operation.reset(bench)
    assert operation.seen(bench, operation.do) == without
    assert wrong == []
    assert met > 0.9 * len(faults)


def settings(bench):
    return {name: content for name, content in bench.files().items() if name.startswith("/etc/")}


def start_up_places(bench):
    with bench.faults.recorded() as places:
        bench.start()
    return [place for place in places if place.occurrence <= OFTEN]


def start_with(bench, place, error):
    """Starts the daemon with a fault, and says how it ends, None when it has come up."""
    bench.faults.arm(place, error)
    bench.device.start_daemon(env=bench.environment, wait=False)
    try:
        bench.device.wait_daemon()
    except DeviceError:
        return bench.device.daemon_status()["status"]
    finally:
        bench.faults.disarm()
    return None


def test_a_start_survives_each_fault(bench, long_form, record_property):
    bench.stop()
    places = start_up_places(bench)
    before = settings(bench)
    wrong = []

    faults = list(faults_of("start", places, long_form))
    record_property("faults", len(faults))
    for place, error in faults:
        bench.stop()
        bench.write(CAN, before[CAN])
        end = start_with(bench, place, error)
        after = settings(bench)
        lost = {name: after.get(name) for name in before if after.get(name) != before[name] and name != place.target}
        if end is not None or lost:
            wrong.append((str(place), place.occurrence, errno.errorcode[error], end, lost))

    bench.stop()
    bench.write(CAN, before[CAN])
    bench.start()
    assert settings(bench) == before
    assert wrong == []
