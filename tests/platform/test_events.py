"""Events that a client sets off by hand, and the log in which all calls of the platform library stand."""

import pytest
from insidetools import platform_calls

PATH = "/testsystemevent"
LOG = "/var/log/qmz/platform.jsonl"

EVENTS = {
    "firmwareUpdate": (5, "/"),
    "canError": ("tranceiver status", 0x10, "/system/can"),
    "firmwareDeleted": ("/loader/fw1",),
    "reboot": ("/",),
    "codesysFileRemoved": ("app.tgz", "/loader"),
    "deviceNameChange": ("node", "/"),
    "hostnameInvalid": ("a_b", "node", "/system"),
    "networkAddressChange": ("DHCP", "/"),
    "pwResetSuccessful": ("/",),
    "pwResetVerifyFailed": ("/",),
    "pwResetFormatError": ("/",),
    "pwResetFileError": ("/",),
    "pwResetHostnameError": ("/",),
    "pwResetMacError": ("/",),
}

TEXTS = {
    "empty": "",
    "quote": '"',
    "backslash": "\\",
    "lines": "\n\r\t",
    "controls": "".join(map(chr, range(1, 32))),
    "separators": "\x7f\u2028",
    "scripts": "größe \u4e2d \U0001f600",
    "format": "%s%n",
    "long": "x" * 500_000,
}


def last_event(device):
    event = device.platform_log()[-1]
    return event["call"], event["args"]


def test_these_events_can_be_set_off(client):
    assert sorted(client.members(PATH, "method")) == sorted(EVENTS)


@pytest.mark.parametrize("name", EVENTS)
def test_an_event_is_recorded_with_its_arguments(device, client, name):
    assert client.call(PATH, name, *EVENTS[name]) is None

    assert last_event(device) == (f"SystemEvent.{name}", list(EVENTS[name]))


@pytest.mark.parametrize("number", [0, 5, 6, -1, 2**31 - 1, -(2**31)])
def test_any_number_is_recorded(device, client, number):
    client.call(PATH, "firmwareUpdate", number, "/")

    assert last_event(device) == ("SystemEvent.firmwareUpdate", [number, "/"])


@pytest.mark.parametrize("text", TEXTS.values(), ids=TEXTS)
def test_any_text_is_recorded_as_it_is(device, client, text):
    client.call(PATH, "codesysFileRemoved", text, "/loader")

    assert last_event(device) == ("SystemEvent.codesysFileRemoved", [text, "/loader"])


def test_every_entry_tells_its_time(device):
    for entry in device.platform_log():
        assert sorted(entry) == ["args", "call", "time"]
        assert entry["time"][10] == "T" and entry["time"][-5] == "."


def test_the_log_does_not_grow_without_bound_and_loses_nothing_recent(own_device, own_client):
    for number in range(30):
        own_client.call(PATH, "codesysFileRemoved", "x" * 50_000, f"/{number}")

    sizes = [int(own_device.exec(["stat", "-c", "%s", path], check=True).stdout) for path in (LOG, f"{LOG}.1")]
    assert max(sizes) <= 1024 * 1024 + 60_000
    origins = [origin for _, origin in platform_calls(own_device, "SystemEvent.codesysFileRemoved")]
    assert origins == [f"/{number}" for number in range(30)][-len(origins) :]
    assert len(origins) > 15


def test_an_event_does_not_wait_for_what_stands_in_the_place_of_the_log(own_device, own_client):
    own_device.exec(["sh", "-c", f"rm {LOG} && mkfifo {LOG}"], check=True)

    own_client.call(PATH, "reboot", "/")

    own_client.ping()
