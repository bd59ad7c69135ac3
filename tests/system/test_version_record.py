"""The version record of the installed image."""

import pytest
from busclient import BusClient

SYSTEM = "local.System"
RECORD = {
    "oztversion": "4.2.0",
    "oztsvnversion": "11411",
    "oztgitversion": "11411",
    "oztgithash": "58a24fb7830c9adef4a732a64109d361a584e19a",
    "oztReleasename": "4.2.0-stable",
    "oztBuildtime": "2015-06-18 14:02:51",
}


def record_of(client):
    properties = client.get_all("/system", SYSTEM)
    del properties["hostname"]
    return properties


def test_the_properties_tell_the_record(client):
    assert record_of(client) == RECORD


def test_the_properties_stand_in_their_order(client):
    assert client.members("/system", "property") == ["hostname", *RECORD]


@pytest.mark.parametrize("name", RECORD)
def test_the_record_can_not_be_written(client, name):
    assert client.error_of_set("/system", SYSTEM, name, "5.0.0") == "PropertyReadOnly"

    assert client.get("/system", SYSTEM, name) == RECORD[name]


@pytest.mark.parametrize(
    ("line", "value"),
    [
        ("VERSION=plain", "plain"),
        (' VERSION = " blanks " ', " blanks "),
        ('VERSION="open', '"open'),
        ('VERSION="', ""),
        ("VERSION=a=b", "a=b"),
        ("VERSION=1\nVERSION=2", "2"),
        ("#VERSION=1", ""),
        ("VERSION", ""),
        ("=VERSION", ""),
        ("", ""),
    ],
)
def test_the_record_is_read_as_variables(new_device, line, value):
    new_device.start(daemon=False)
    new_device.write("/etc/oztversion.conf", line + "\n")
    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get("/system", SYSTEM, "oztversion") == value


def test_both_names_of_the_revision_tell_the_same(new_device):
    new_device.start(daemon=False)
    new_device.write("/etc/oztversion.conf", "SVNVERSION=one\nGITVERSION=two\n")
    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get("/system", SYSTEM, "oztsvnversion") == "one"
        assert client.get("/system", SYSTEM, "oztgitversion") == "one"


def test_the_record_is_read_once_and_never_written(own_device, own_client):
    own_device.write("/etc/oztversion.conf", "VERSION=5.0.0\n")

    own_client.set("/system", SYSTEM, "hostname", "other")

    assert own_client.get("/system", SYSTEM, "oztversion") == "4.2.0"
    assert own_device.read("/etc/oztversion.conf") == "VERSION=5.0.0\n"
