"""The web passwords of levels 2 and 3, switched off for a time, as clients and other processes see it."""

import pytest
from busclient import BusClient
from insidetools import platform_calls, shell

AREA = "/dev/shm/qmz_globals"
# Another process of the device: it maps the area itself.
STATUS_WORD = """
import mmap, sys
with open("/dev/shm/qmz_globals", "r+b") as file, mmap.mmap(file.fileno(), 8192) as area:
    if len(sys.argv) > 1:
        area[3930:3934] = int(sys.argv[1]).to_bytes(4, "little")
    print(int.from_bytes(area[3930:3934], "little"))
"""
LEVEL2, LEVEL3 = 0b0100, 0b1000
DAY_MS = 24 * 60 * 60 * 1000


def status_word(device, value=None):
    """The status word, after it is set to `value`, if any."""
    arguments = [] if value is None else [str(value)]
    return int(device.exec(["/usr/bin/python3", "-c", STATUS_WORD, *arguments], check=True).stdout)


def set_code(client, code):
    client.call("/system", "setPwDisable", code, signature="u")


def get_code(client):
    return client.call("/system", "getPwDisable")


def said(device):
    """What the daemon has put into the device's log."""
    return [text for _, text, *_ in platform_calls(device, "Qmzlog.msg")]


def registrations(device):
    return platform_calls(device, "OdAccess.odRegisterObjectSync")


@pytest.mark.parametrize(
    ("code", "kept", "bits", "interval_ms"),
    [
        (0, 0, 0, None),
        (0x10001, 0x10001, LEVEL2, 60_000),
        (0x2003C, 0x2003C, LEVEL3, 3_600_000),
        (0x305A0, 0x305A0, LEVEL2 | LEVEL3, DAY_MS),
        (0x107D0, 0x107D0, LEVEL2, DAY_MS),
        (0xFFFFFFFF, 0xFFFFFFFF, LEVEL2 | LEVEL3, DAY_MS),
        (0xA, 0xA, 0, None),
        (0xFFFC000A, 0xFFFC000A, 0, None),
        (0xFFFC0000, 0, 0, None),
    ],
)
def test_the_code_sets_the_state(device, client, code, kept, bits, interval_ms):
    set_code(client, 0x30001 if bits == 0 else 0)
    others = 0xFFFFFFFF & ~(LEVEL2 | LEVEL3)
    status_word(device, others | (status_word(device) & (LEVEL2 | LEVEL3)))
    before = len(said(device))

    set_code(client, code)

    assert get_code(client) == kept
    assert status_word(device) == others | bits
    log = [f"setPwDisable: disable code 0x{code:08x}"]
    if interval_ms is not None:
        log.append(f"setPwDisable: password time out {interval_ms} ms")
    assert said(device)[before:] == log


def test_levels_without_minutes_end_at_once(device, client):
    set_code(client, 0x30005)
    before = len(said(device))

    set_code(client, 0x30000)

    device.wait_for(lambda: len(said(device)) >= before + 4, what="the end of the period")
    assert said(device)[before:] == [
        "setPwDisable: disable code 0x00030000",
        "setPwDisable: password time out 0 ms",
        "setPwDisable: disable code 0x00000000",
        "pwDisableTimeout: rest interval  0 ms",
    ]
    assert get_code(client) == 0
    assert status_word(device) & (LEVEL2 | LEVEL3) == 0


def test_the_area_is_attached_by_the_first_call_alone(own_device, own_client):
    def attachments():
        return platform_calls(own_device, "GenGlobAccess.attach")

    assert attachments() == []
    assert get_code(own_client) == 0
    assert attachments() == []

    for code in (0x10001, 0x30000, 0):
        set_code(own_client, code)

    assert len(attachments()) == 1


def test_other_bytes_of_the_area_stay(own_device, own_client):
    content = bytes(range(256)) * 32
    own_device.write(AREA, content)

    set_code(own_client, 0x30001)
    set_code(own_client, 0)

    after = own_device.read_bytes(AREA)
    assert after[:3930] == content[:3930]
    assert after[3934:] == content[3934:]
    assert after[3930] == content[3930] & ~(LEVEL2 | LEVEL3)
    assert after[3931:3934] == content[3931:3934]


def test_a_restart_forgets_the_code_and_leaves_the_bits(own_device, own_client):
    set_code(own_client, 0x30010)

    own_device.stop_daemon()
    own_device.start_daemon()

    with BusClient(own_device) as client:
        assert get_code(client) == 0
        assert status_word(own_device) == LEVEL2 | LEVEL3
        set_code(client, 0)
        assert status_word(own_device) == 0


def test_a_thousand_calls_leave_the_state_of_the_last(own_device, own_client):
    for number in range(1000):
        set_code(own_client, 0x10001 + (number % 3 << 16))

    assert get_code(own_client) == 0x10001
    assert status_word(own_device) == LEVEL2


def test_it_is_registered_where_there_is_an_object_dictionary(new_device):
    new_device.start(daemon=False)
    shell(new_device, "mkdir -p /run/qmz/od")
    new_device.start_daemon()

    assert registrations(new_device) == [
        [0x4003, 1, 0x54, 1, "com.ozt.nodekeep", "/system", "getPwDisable", "setPwDisable", "pw disable", 0]
    ]


def test_it_works_without_an_object_dictionary(device, client):
    assert registrations(device) == []

    set_code(client, 0x10001)
    assert get_code(client) == 0x10001
