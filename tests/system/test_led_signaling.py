"""Signalling with the LEDs: on this device, and the request that goes to another one."""

import pytest
from busclient import BusClient
from footprint import Footprint, assert_back_to
from insidetools import platform_calls, resident_kib, shell
from listening import listening

KIB_OF_ALL = 4096  # what 200 managers that stay, and the first use of the network, may take
INT_MAX, INT_MIN = 2**31 - 1, -(2**31)


def signal_remote(client, seconds, address):
    client.call("/system", "remoteMeascardLedSingaling", seconds, address)


def effects(device):
    return platform_calls(device, "SysCfgAccess.startLedEffect")


def under_way(device):
    """How many requests the daemon keeps a thread for. One that was just made still bears the daemon's own name; the
    others of that name are older than the bus's."""
    listing = device.exec(["sh", "-c", f"grep . /proc/{device.daemon_status()['pid']}/task/*/comm"]).stdout
    lines = [line.split(":", 1) for line in listing.splitlines()]
    threads = [(int(path.split("/")[4]), name) for path, name in lines]
    bus = min(number for number, name in threads if name.startswith("QDBus"))
    return sum(name.startswith("QNetworkAccess") or name == "nodekeep" and number > bus for number, name in threads)


def wait_idle(device, client):
    """Waits for the end of all requests. The end of one takes the manager of the next one along if that has begun."""
    client.ping()  # what was asked for before has its thread by then
    device.wait_for(lambda: under_way(device) == 0, 20, "the requests to end")


def body(seconds):
    method = "com.ozt.nodekeep|/system|local.System.startMeascardLedSignaling"
    return '{"id":1,"method":"%s","params":["i","%d"]}' % (method, seconds)


@pytest.mark.parametrize(("seconds", "shown"), [(1, 1), (30, 30), (0, 10), (-5, 10), (INT_MIN, 10), (INT_MAX, INT_MAX)])
def test_this_device_signals_for_the_given_seconds(device, client, seconds, shown):
    before = len(effects(device))

    client.call("/system", "startMeascardLedSignaling", seconds)

    assert effects(device)[before:] == [[shown, 6]]


@pytest.mark.parametrize("seconds", [30, 0, -5, INT_MAX, INT_MIN])
def test_another_device_gets_one_post(device, client, seconds):
    shown = len(effects(device))
    with listening(device, "answer") as other:
        signal_remote(client, seconds, other.address)
        other.wait_heard(1)
        wait_idle(device, client)

        head, _, sent = other.heard()[0].partition("\r\n\r\n")
        first, *headers = head.split("\r\n")
        assert first == "POST / HTTP/1.1"
        assert f"Host: {other.address}" in headers
        assert "User-Agent: QMZ" in headers
        assert f"Content-Length: {len(body(seconds))}" in headers
        assert sent == body(seconds)
        assert len(other.heard()) == 1
    assert len(effects(device)) == shown


def test_a_proxy_of_the_environment_is_not_used(new_device):
    new_device.start(daemon=False)
    with listening(new_device, "answer") as proxy, listening(new_device, "answer") as listener:
        shell(new_device, "ip addr add 10.9.9.9/32 dev lo")
        new_device.start_daemon(env={"http_proxy": f"http://{proxy.address}"})
        with BusClient(new_device) as client:
            signal_remote(client, 1, f"10.9.9.9:{listener.port}")

        listener.wait_heard(1)
        assert proxy.heard() == []


def test_port_and_path_of_the_address_are_used(device, client):
    with listening(device, "answer") as other:
        signal_remote(client, 1, f"{other.address}/bus/gate?a=b")
        other.wait_heard(1)

        assert other.heard()[0].startswith("POST /bus/gate?a=b HTTP/1.1\r\n")
        wait_idle(device, client)


@pytest.mark.parametrize("manner", ["fail", "redirect", "hang-up", "reset", "half"])
def test_a_bad_answer_changes_nothing_and_repeats_nothing(device, client, manner):
    with listening(device, manner) as other:
        signal_remote(client, 1, other.address)
        other.wait_heard(1)
        wait_idle(device, client)

        assert len(other.heard()) == 1


@pytest.mark.parametrize(
    "address",
    [
        "127.0.0.1:1",
        "",
        "/",
        "[",
        ":",
        "a b",
        "127.0.0.1:99999",
        "no.invalid",
        pytest.param("x" * 100_000, id="long"),
        "a\r\nX-Evil: 1",
        "user:word@127.0.0.1:1",
        "192.0.2.1",
        "[::1]:1",
        "ä\u4e2d",
    ],
)
def test_a_device_that_can_not_be_reached_is_no_error(device, client, address):
    signal_remote(client, 1, address)

    wait_idle(device, client)
    assert client.call("/system", "getPwDisable") == 0


def test_no_header_comes_from_the_address(device, client):
    with listening(device, "answer") as other:
        signal_remote(client, 1, f"{other.address}/a\r\nX-Evil: 1")
        wait_idle(device, client)
        signal_remote(client, 1, other.address)
        other.wait_heard(1)
        wait_idle(device, client)

        assert not [heard for heard in other.heard() if "\nX-Evil" in heard]


def test_a_server_that_never_answers_holds_nobody_up(device, client):
    with listening(device, "silent") as other:
        signal_remote(client, 1, other.address)
        other.wait_heard(1)

        assert client.call("/system", "getPwDisable") == 0
        assert under_way(device) == 1
    wait_idle(device, client)  # as the server is gone


def test_many_requests_under_way_end_nothing_but_themselves(own_device, own_client):
    with listening(own_device, "silent") as other:
        for seconds in range(100):
            signal_remote(own_client, seconds, other.address)
        other.wait_heard(100)

        assert sorted(heard.partition("\r\n\r\n")[2] for heard in other.heard()) == sorted(map(body, range(100)))
    wait_idle(own_device, own_client)
    with listening(own_device, "answer") as other:
        signal_remote(own_client, 7, other.address)
        other.wait_heard(1)
    assert own_client.call("/system", "getPwDisable") == 0


def test_requests_one_after_the_other_do_not_make_the_daemon_grow(sparing_device, sparing_client):
    def work(count):
        for _ in range(count):
            before = len(other.heard())
            signal_remote(sparing_client, 1, other.address)
            other.wait_heard(before + 1)
            wait_idle(sparing_device, sparing_client)

    with listening(sparing_device, "answer") as other:
        work(30)
        before = resident_kib(sparing_device)

        work(100)

        assert resident_kib(sparing_device) - before < 1024


@pytest.mark.parametrize("manner", ["answer", "hang-up"])
def test_requests_at_once_leave_nothing_open_when_they_have_ended(own_device, own_client, manner):
    before = Footprint.of(own_device)
    with listening(own_device, manner) as other:
        for _ in range(10):
            for _ in range(20):
                signal_remote(own_client, 1, other.address)

            assert_back_to(before, own_device, KIB_OF_ALL)


def test_a_thousand_calls_are_all_answered(own_device, own_client):
    for _ in range(1000):
        own_client.call("/system", "startMeascardLedSignaling", 1)

    assert len(effects(own_device)) == 1000
