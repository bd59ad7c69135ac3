"""The daemon's memory stays what it is, however long clients call it."""

import dbus
import dbus.lowlevel
from busclient import BusClient
from footprint import Footprint, assert_back_to
from insidetools import resident_kib

GROWTH_KIB = 1024

ROUND = {
    "values": lambda client: client.call("/loader/config", "getAll"),
    "texts": lambda client: client.call("/loader/config", "set", "console", "x" * 10_000),
    "selections": lambda client: client.call("/loader", "lookupConfig", "nothing"),
    "properties": lambda client: client.get_all("/system", "local.System"),
    "descriptions": lambda client: client.introspect("/system"),
    "unknown methods": lambda client: client.error_of("/system", "nothing", "x" * 10_000),
    "unknown objects": lambda client: client.error_of("/no/such/object", "get", "a"),
    "wrong arguments": lambda client: client.error_of("/loader", "setEnv", dbus.Int32(1), signature="i"),
    "refused names": lambda client: client.set("/system", "local.System", "hostname", "no host name"),
    "events": lambda client: client.call("/testsystemevent", "reboot", "/" * 1000),
}


def test_thousands_of_calls_do_not_make_the_daemon_grow(sparing_device, sparing_client):
    def work(rounds):
        for _ in range(rounds):
            for call in ROUND.values():
                call(sparing_client)

    work(50)
    before = resident_kib(sparing_device)

    work(200)

    assert resident_kib(sparing_device) - before < GROWTH_KIB


def test_clients_that_come_and_go_do_not_make_the_daemon_grow(sparing_device, sparing_client):
    def work(clients):
        for _ in range(clients):
            with BusClient(sparing_device) as client:
                client.call("/loader", "lookupConfig", "config")

    work(100)
    before = resident_kib(sparing_device)

    work(500)

    assert resident_kib(sparing_device) - before < GROWTH_KIB


def test_large_messages_are_given_back(sparing_device, sparing_client):
    def work(messages):
        for count in range(messages):
            sparing_client.call("/system/guiLevel1", "set", "large", str(count) * 1_000_000)

    work(5)
    before = resident_kib(sparing_device)

    work(50)

    assert resident_kib(sparing_device) - before < 20 * GROWTH_KIB


def test_what_a_flood_of_messages_took_is_given_back(sparing_device, sparing_client):
    def flood(messages):
        for number in range(messages):
            signal = dbus.lowlevel.SignalMessage("/", "com.ozt.httpdata", "fileUploaded")
            # Some make it work for longer than a message takes to come in, so that many wait.
            signal.append("/tmp/missing", "a.txt" if number % 20 else "a.pdf", signature="ss")
            sparing_client.connection.send_message(signal)
        sparing_client.call("/system", "getPwDisable", limit=60)

    flood(100)
    before = Footprint.of(sparing_device)

    flood(10_000)

    # Between the messages lay things that live longer, and keep the pages that they are on.
    assert_back_to(before, sparing_device, growth_kib=4 * GROWTH_KIB)
