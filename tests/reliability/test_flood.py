"""Clients, connections, signals and requests by the thousand: each is served, others are served meanwhile, and what it
cost is given back."""

import concurrent.futures
import contextlib
import os
import threading
import time

import dbus
import dbus.lowlevel
import pytest
from busclient import SERVICE, BusClient
from footprint import GROWTH_KIB, Footprint, assert_back_to
from insidetools import SPARING, init_jobs, platform_calls, shell
from listening import listening
from rawbus import RawBus

ANSWER_S = 0.5
STORES = ("/system/guiLevel1", "/system/guiLevel2", "/system/guiLevel3", "/system/guiSystem")
CALLS = 5_000
SIGNALS = 10_000

CONNMAN = ("/net/connman/service/ethernet_1", "net.connman.Service", "PropertyChanged")
UPLOAD = ("/", "com.ozt.httpdata", "fileUploaded")
STARTED = ("/", "com.ozt.syscfgmgr", "started")


@contextlib.contextmanager
def answered_meanwhile(device):
    """Has a client of its own call all the while, who gets each answer soon enough."""
    # A sanitizer makes all of it several times slower.
    limit = 4 * ANSWER_S if Footprint.of(device).sanitized else ANSWER_S
    over = threading.Event()

    def slowest():
        worst = 0
        with BusClient(device) as client:
            while not over.wait(0.01):
                begin = time.monotonic()
                client.call("/system", "getPwDisable")
                worst = max(worst, time.monotonic() - begin)
        return worst

    with concurrent.futures.ThreadPoolExecutor() as pool:
        slowest = pool.submit(slowest)
        try:
            yield
        finally:
            over.set()
        print(f"slowest answer of another client: {slowest.result():.3f} s")
        assert slowest.result() < limit


def work(device, store, first, calls):
    """What a client does all day, each answer compared; returns what it has stored and told."""
    told = []
    with BusClient(device) as client:
        stored = dict(client.call(store, "getAll"))
        for number in range(first, first + calls):
            name, value = f"v{number % 50}", str(number)
            match number % 5:
                case 0:
                    client.call(store, "set", name, value)
                    stored[name] = value
                case 1:
                    assert client.call(store, "getAll") == stored
                case 2:
                    told.append(f"{store} {number}")
                    client.call("/testsystemevent", "reboot", told[-1])
                case 3:
                    assert client.get("/system", "local.System", "hostname") == "node-4711"
                case 4:
                    assert client.error_of(store, "nothing", "x" * 1000) == "UnknownMethod"
    return stored, told


def test_four_clients_of_thousands_of_calls(sparing_device, sparing_client):
    def flood(first, calls):
        with concurrent.futures.ThreadPoolExecutor() as pool:
            return list(pool.map(lambda store: work(sparing_device, store, first, calls), STORES))

    flood(0, 500)
    before = Footprint.of(sparing_device)
    with answered_meanwhile(sparing_device):
        done = flood(500, CALLS)

    assert_back_to(before, sparing_device)
    events = platform_calls(sparing_device, "SystemEvent.reboot")
    for store, (stored, told) in zip(STORES, done):
        assert sparing_client.call(store, "getAll") == stored
        assert [text for (text,) in events if text.startswith(f"{store} ")][-len(told) :] == told


def test_a_client_that_never_reads_its_answers(sparing_device, sparing_client):
    store, interface = STORES[0], "local.BareboxConfig"
    sparing_client.call(store, "set", "large", "x" * 20_000)

    def flood(calls):
        with RawBus(sparing_device) as deaf:
            for number in range(calls):
                deaf.call(SERVICE, store, interface, "set", "ss", ("last", str(number)))
                deaf.call(SERVICE, store, interface, "getAll")
                if number % 20 == 0:  # the bus refuses calls of a client that has 128 without an answer
                    sparing_device.wait_for(lambda: sparing_client.call(store, "get", "last") == str(number))

    flood(CALLS // 10)
    before = Footprint.of(sparing_device)

    with answered_meanwhile(sparing_device):
        flood(CALLS)

    assert_back_to(before, sparing_device)


@pytest.mark.parametrize("at_once", [1, 200])
def test_connections_opened_and_closed(sparing_device, sparing_client, at_once):
    def flood(count):
        for first in range(0, count, at_once):
            with contextlib.ExitStack() as stack:
                for number in range(first, first + at_once):
                    client = stack.enter_context(BusClient(sparing_device))
                    client.call(STORES[0], "set", f"client{number}", "here")

    flood(200)
    before = Footprint.of(sparing_device)

    with answered_meanwhile(sparing_device):
        flood(200)

    assert_back_to(before, sparing_device)
    assert [sparing_client.call(STORES[0], "get", f"client{number}") for number in range(200)] == ["here"] * 200


def emit(client, address, signature, *arguments):
    signal = dbus.lowlevel.SignalMessage(*address)
    signal.append(*arguments, signature=signature)
    client.connection.send_message(signal)


def acted_on(long_form):
    """Which of the signals have an effect; the others are heard and are not for the daemon."""
    return range(0, SIGNALS, 1 if long_form else 20)


def test_announced_uploads(sparing_device, sparing_client, long_form):
    certificates = acted_on(long_form)

    def flood(first):
        """Uploads with numbers from the first one on."""
        names = f"$(seq {first} {certificates.step} {first + SIGNALS - 1})"
        shell(sparing_device, f"for i in {names}; do echo $i >/tmp/upload-$i; done")
        for number in range(first, first + SIGNALS):
            ending = "pdf" if number - first in certificates else "txt"
            emit(sparing_client, UPLOAD, "ss", f"/tmp/upload-{number}", f"{number}.{ending}")
        sparing_client.call("/system", "getPwDisable", limit=600)

    flood(SIGNALS)
    before = Footprint.of(sparing_device)

    flood(2 * SIGNALS)

    assert_back_to(before, sparing_device)
    listing = shell(sparing_device, "cd /srv/certificates && for f in *; do read line <$f; echo $f $line; done")
    stored = [first + number for first in (SIGNALS, 2 * SIGNALS) for number in certificates]
    assert sorted(listing.splitlines()) == sorted(f"{number}.pdf {number}" for number in stored)
    assert "upload-" not in shell(sparing_device, "ls /tmp")


def test_reports_of_connman(sparing_device, sparing_client, long_form):
    states, servers = (acted_on(long_form)[half::2] for half in (0, 1))

    def flood():
        for number in range(SIGNALS):
            if number in states:
                report = ("State", "idle")
            elif number in servers:
                report = ("Timeservers", dbus.Array(["10.9.9.9"], signature="s"))
            else:
                report = ("Strength", dbus.Byte(7))
            emit(sparing_client, CONNMAN, "sv", *report)
        sparing_client.call("/system", "getPwDisable", limit=600)

    flood()
    before = Footprint.of(sparing_device)
    jobs = len(init_jobs(sparing_device)), len(init_jobs(sparing_device, "ntp"))

    flood()

    assert_back_to(before, sparing_device)
    assert len(init_jobs(sparing_device)) - jobs[0] == 3 * len(states)
    assert len(init_jobs(sparing_device, "ntp")) - jobs[1] == 2 * len(servers)


def test_notices_of_a_start_make_one_reboot(new_device):
    new_device.flash = {**new_device.flash, "factory_init": ""}
    new_device.start(srv=False, started=False, env=SPARING)
    with BusClient(new_device) as client:

        def flood(count):
            for _ in range(count):
                emit(client, STARTED, "")
            client.call("/system", "getPwDisable", limit=60)

        flood(100)
        before = Footprint.of(new_device)

        flood(SIGNALS)

        assert_back_to(before, new_device)

    new_device.mount_srv(told=True)

    new_device.wait_for(lambda: new_device.boots == 2, what="the reboot")
    assert len(platform_calls(new_device, "SystemEvent.reboot")) == 1


def test_messages_of_the_device_manager(sparing_device, sparing_client):
    for file in ("linuximage", "linuximage.md5", "root.ubi", "root.ubi.md5"):
        sparing_device.write(f"/srv/fwupdate/fwupdate4/{file}", "x")
    sparing_device.write("/srv/fwupdate/fwupdate4/control", "VERSION=4.4\nMIN_UPDATER_VERSION=3\n")

    def scan():
        sparing_device.tell_udev("add")
        sparing_device.wait_for(lambda: "fwupdate4" in sparing_client.children("/loader"), what="the scan")

    scan()
    before = Footprint.of(sparing_device)

    sparing_device.tell_udev("add", name="ubifs_0_0", times=SIGNALS)
    sparing_device.tell_udev("remove", times=SIGNALS)

    sparing_device.wait_for(lambda: "fwupdate4" not in sparing_client.children("/loader"), what="the record to go")
    assert_back_to(before, sparing_device)
    scan()


@pytest.mark.slow
@pytest.mark.parametrize(("requests", "at_once"), [(600, 20), (2000, 1)])
def test_requests_to_other_devices(sparing_device, sparing_client, requests, at_once):
    threads = f"/proc/{sparing_device.daemon_pid}/task"
    before = Footprint.of(sparing_device)
    with listening(sparing_device, "answer") as other:
        for _ in range(0, requests, at_once):
            for _ in range(at_once):
                sparing_client.call("/system", "remoteMeascardLedSingaling", 1, other.address)
            sparing_device.wait_for(lambda: len(os.listdir(threads)) == before.threads, what="the requests to end")

        # Of two under way the first answer ends the later one, and each leaves a little behind. AddressSanitizer keeps
        # its books of every thread that ever was.
        assert len(other.heard()) > requests / 2
    assert_back_to(before, sparing_device, GROWTH_KIB if at_once == 1 else 4 * requests)
