"""The device's time zone and the zones to choose from."""

import json
import os

import pytest
from busclient import BusClient
from insidetools import shell

TIME = "/system/time"
INTERFACE = "local.Systemtime"
ZONES = "/usr/share/zoneinfo"


def zone(client):
    return client.get(TIME, INTERFACE, "timezone")


def set_zone(client, name):
    client.set(TIME, INTERFACE, "timezone", name)


def link(device):
    return device.exec(["readlink", "/etc/localtime"]).stdout.removesuffix("\n")


def tree_of(directory, path=""):
    """What a walk by other means finds below a directory of zones."""
    names = sorted((name for name in os.listdir(directory) if not name.startswith(".")), key=str.lower)
    places = [(name, os.path.join(directory, name)) for name in names]
    node = {"path": path}
    below = [tree_of(place, f"{path}/{name}".lstrip("/")) for name, place in places if os.path.isdir(place)]
    if below:
        node["subdirs"] = below
    node["selections"] = [name for name, place in places if os.path.isfile(place)]
    return node


def test_the_zones_are_those_of_the_device(client):
    found = json.loads(client.call(TIME, "jsonTimezones"))

    assert found == tree_of(ZONES)
    assert {"Europe", "America"} <= {node["path"] for node in found["subdirs"]}


def test_any_city_can_be_set_and_is_read_back(device, client):
    for node in tree_of(ZONES)["subdirs"]:
        for name in node["selections"][:2]:
            set_zone(client, f"{node['path']}/{name}")

            assert zone(client) == f"{node['path']}/{name}"
            assert link(device) == f"..{ZONES}/{node['path']}/{name}"


def test_the_zone_counts_for_all_programs(device, client):
    set_zone(client, "Asia/Kolkata")

    assert shell(device, "date +%z") == "+0530\n"
    assert "IST" in client.call(TIME, "getSytemTimeAsText")


@pytest.mark.parametrize(
    "name", ["Mars/Base", "utc", "UTC/", "../nothing", "\n", pytest.param("x" * 1_000_000, id="a megabyte")]
)
def test_an_unknown_zone_changes_nothing(device, client, name):
    set_zone(client, "Europe/Berlin")

    set_zone(client, name)

    assert link(device) == f"..{ZONES}/Europe/Berlin"
    assert zone(client) == "Europe/Berlin"


@pytest.mark.parametrize(
    "name, told",
    [("Europe", "Europe"), ("", "re/zoneinfo"), ("Asia/../UTC", "UTC"), ("../../../etc/hostname", "tname")],
)
def test_whatever_exists_is_taken(device, client, name, told):
    set_zone(client, name)

    assert link(device) == f"..{ZONES}/{name}"
    assert zone(client) == told


def test_without_a_link_it_is_utc(device, client):
    shell(device, "rm -f /etc/localtime")
    assert zone(client) == "UTC"

    shell(device, f"cp {ZONES}/Europe/Berlin /etc/localtime")
    assert zone(client) == "UTC"

    set_zone(client, "Europe/Rome")
    assert zone(client) == "Europe/Rome"


def test_the_zone_survives_a_power_cycle(own_device, own_client):
    set_zone(own_client, "Asia/Kolkata")

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert zone(client) == "Asia/Kolkata"
        assert client.call(TIME, "getSystemTime") - client.call(TIME, "getSystemTimeUtc") in (19800, 19799)


def test_a_made_tree_is_shown_as_it_is(own_device, own_client):
    shell(own_device, "mkdir -p /tmp/zones/empty /tmp/zones/Region/Part")
    shell(own_device, f"cd /tmp/zones && touch b C a Region/Part/City && mount --bind . {ZONES}")

    assert own_client.call(TIME, "jsonTimezones") == (
        '{"path":"","subdirs": [{"path":"empty","selections":[]},'
        '{"path":"Region","subdirs": [{"path":"Region/Part","selections":["City"]}],"selections":[]}],'
        '"selections":["a","b","C"]}'
    )


def test_a_device_without_zones_has_an_empty_tree(own_device, own_client):
    shell(own_device, f"rm -r {ZONES}")

    assert own_client.call(TIME, "jsonTimezones") == '{"path":"","selections":[]}'
    set_zone(own_client, "Europe/Berlin")
    assert link(own_device) != f"..{ZONES}/Europe/Berlin"
