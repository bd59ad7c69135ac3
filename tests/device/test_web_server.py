"""The stand-in for the device's web server."""

import contextlib
import json
import os
import re
import socket
import subprocess
import urllib.request

import pytest
import simdevice
import web

BUS = ("/org/freedesktop/DBus", "org.freedesktop.DBus")
BUS_SERVICE = "org.freedesktop.DBus"


@pytest.fixture
def device(make_device):
    device = make_device()
    device.start(daemon=False)
    return device


@contextlib.contextmanager
def signals(device):
    """A way to wait for the next announced upload: its path and its name."""
    rule = "type='signal',path='/',interface='com.ozt.httpdata',member='fileUploaded'"
    command = [*device.entrance(), "dbus-monitor", "--system", rule]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd="/") as monitor:

        def next_string():
            return next(line.split('"')[1] for line in monitor.stdout if "string" in line)

        next_string(), next_string()  # the monitor's own name, which comes and goes
        yield lambda: (next_string(), next_string())
        monitor.kill()


def test_a_call_returns_its_result(device):
    for params, expected in ((["s", BUS_SERVICE], True), (["s", "no.such.name"], False)):
        answer = web.call(device, *BUS, "NameHasOwner", *params, service=BUS_SERVICE)

        assert answer == {"id": 1, "result": expected}


def test_a_call_without_parameters_returns_a_list(device):
    names = web.call(device, *BUS, "ListNames", service=BUS_SERVICE)["result"]

    assert "com.ubuntu.Upstart" in names


def test_values_may_be_texts(device):
    job = ("/com/ubuntu/Upstart/jobs/ntp", "com.ubuntu.Upstart0_6.Job")
    text = {"id": 7, "method": f"com.ubuntu.Upstart|{job[0]}|{job[1]}.Stop", "params": ["asb", ["a=b"], "true"]}
    status, answer = web.request(device, "POST", "/any/path", json.dumps(text).encode(), "text/plain")

    assert (status, json.loads(answer)) == (200, {"id": 7, "result": None})
    assert [(call["job"], call["env"], call["wait"]) for call in device.upstart_log()] == [("ntp", ["a=b"], True)]


def test_a_property_is_told_as_its_value(device):
    get = (BUS[0], "org.freedesktop.DBus.Properties", "Get", "ss")
    answer = web.call(device, *get, "org.freedesktop.DBus", "Interfaces", service=BUS_SERVICE)

    assert "org.freedesktop.DBus.Monitoring" in answer["result"]


def test_a_variant_has_the_type_that_json_knows(make_device):
    device = make_device()
    device.start()

    values = {"String": "true", "Boolean": True, "Int32": -7, "Double": 0.5}
    for kind, value in values.items():
        assert web.call(device, "/system", "local.System", "typeOf", "v", value)["result"] == kind


def test_an_error_of_the_bus_is_told(device):
    error = web.call(device, *BUS, "NoSuchMethod", service=BUS_SERVICE)["error"]

    assert error["name"] == "org.freedesktop.DBus.Error.UnknownMethod"


@pytest.mark.parametrize(
    "text",
    [
        b"",
        b"\xff\xfe",
        b"no json",
        b"[]",
        pytest.param(b"[" * 100_000, id="deep"),
        b"1",
        b"{}",
        b'{"method":"a"}',
        b'{"method":"a|b|c"}',
        b'{"method":"a|/|b.c","params":["i"]}',
        b'{"method":"a.b|/|b.c","params":["i","x"]}',
        b'{"method":"a.b|/|b.c","params":["!","x"]}',
        b'{"method":"a.b|/|b.c","params":["y","300"]}',
        b'{"method":"a.b|/|b.c","params":5}',
    ],
)
def test_what_is_no_call_is_an_error(device, text):
    status, answer = web.request(device, "POST", body=text)

    assert status == 200
    assert json.loads(answer)["error"]["message"]


@pytest.mark.parametrize("name", ["report.pdf", "A b ä.PDF", "../up.pdf", "/absolute.pdf", 'quo"te.pdf', "a?b#c%20"])
def test_an_upload_is_stored_and_announced(device, name):
    content = os.urandom(200_000)
    with signals(device) as next_signal:
        stored = web.upload(device, content, name, "fwupdate")

        if '"' not in name:  # the monitor does not escape
            assert next_signal() == (stored, name)

    assert re.fullmatch("/tmp/upload-[a-z0-9_]+-fwupdate", stored)
    assert device.read_bytes(stored) == content


def test_a_form_may_hold_several_uploads(device):
    first, second = b"\r\n--boundary\n\0\xff" * 100, b""
    with signals(device) as next_signal:
        stored = web.upload_form(device, ("file", "a.pdf", first), ("fwupdate", "b.qmz", second))

        assert [next_signal(), next_signal()] == [(stored[0], "a.pdf"), (stored[1], "b.qmz")]

    assert [device.read_bytes(path) for path in stored] == [first, second]
    assert stored[1].endswith("-fwupdate")


def test_an_empty_field_of_a_form_is_no_upload(device):
    assert web.upload_form(device, ("file", "", b"")) == []


@pytest.mark.parametrize("path", ["/", "/upload", "/upload/file", "/other/file/a.pdf"])
def test_uploads_have_one_place(device, path):
    assert web.request(device, "PUT", path, b"a")[0] == 404


@pytest.mark.parametrize("kind", ["", "..", "a%20b"])
def test_the_kind_can_not_be_a_path(device, kind):
    assert web.request(device, "PUT", f"/upload/{kind}/a.pdf", b"a")[0] == 400
    assert device.exec(["sh", "-c", "ls /tmp | grep upload"]).stdout == ""


def test_people_get_a_form(device):
    status, page = web.request(device, "GET")

    assert status == 200
    assert b'name="fwupdate"' in page


@pytest.fixture
def port():
    """One of the machine's loopback that nobody uses."""
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def test_the_machine_reaches_it_only_when_asked(make_device, port):
    def front_page():
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/", timeout=30) as page:
            return page.read()

    device = make_device()
    device.start(daemon=False, listen=port)
    assert b"upload" in front_page()

    device.power_cycle()
    assert b"upload" in front_page()

    device.stop()
    with pytest.raises(OSError):
        front_page()
    device.start(daemon=False)
    with pytest.raises(OSError):
        front_page()


def test_a_port_that_is_taken_is_an_error_and_no_device(make_device, port):
    make_device("one").start(daemon=False, listen=port)
    two = make_device("two")

    with pytest.raises(simdevice.DeviceError, match=f"can't listen on port {port}"):
        two.start(daemon=False, listen=port)

    assert not two.running
