"""What is on the bus, and where."""

import pytest
from busclient import SERVICE, BusClient
from insidetools import shell
from inspection import SRV_SOURCE
from objecttree import INTERFACES

MAKE_FIRMWARE = f"""
for number in 10 9; do
    mkdir -p {SRV_SOURCE}/fwupdate/fwupdate$number && cd {SRV_SOURCE}/fwupdate/fwupdate$number
    touch linuximage linuximage.md5 root.ubi root.ubi.md5 control
done
"""
STORES = [path for path, interface in INTERFACES.items() if interface == "local.BareboxConfig"]


def test_the_daemon_owns_its_name(device, client):
    assert client.owner_pid() == device.daemon_status()["pid"]


def test_four_objects_are_at_the_root(client):
    assert client.children("/") == {"version", "testsystemevent", "system", "loader"}


def test_the_tree_holds_these_objects_and_no_others(client):
    assert sorted(client.paths()) == sorted(["/", *INTERFACES])


def test_the_children_of_the_system_stand_in_this_order(client):
    assert client.children_in_order("/system") == [
        "guiLevel1",
        "guiLevel2",
        "guiLevel3",
        "guiSystem",
        "network",
        "time",
        "can",
        "syslog",
        "constants",
        "variables",
    ]


def test_stores_stand_as_found_then_firmware_as_found_then_what_comes_later(new_device):
    names = ("config", "Boot", "aux", "system")
    new_device.flash = {name: f"name={name}\n" for name in names}
    new_device.start(srv=False)
    with BusClient(new_device) as client:
        client.call("/loader", "addConfig", "early")
        shell(new_device, MAKE_FIRMWARE)
        new_device.mount_srv(told=True)
        new_device.wait_for(lambda: len(client.children("/loader")) == 7, what="the firmware to be found")
        client.call("/loader", "addConfig", "a_late_one")

        children = client.children_in_order("/loader")

    stores, firmware = (shell(new_device, f"ls -U {place}").split() for place in ("/run/bareboxenv", "/srv/fwupdate"))
    assert sorted(stores) == sorted(names)
    assert children == [*stores, "early", *firmware, "a_late_one"]


@pytest.mark.parametrize("path", INTERFACES)
def test_every_object_has_one_interface_of_its_own(client, path):
    assert list(client.interfaces(path)) == [INTERFACES[path]]


def test_the_version_file_has_no_address(client):
    for name in ("oztversion", "oztversion_conf", "oztversion_2econf"):
        assert client.error_of(f"/system/{name}", "getAll") == "UnknownObject"


def test_the_version_has_two_properties_and_no_methods(client):
    assert client.members("/version", "property") == ["version", "githash"]
    assert client.members("/version", "method") == []


def test_the_version_tells_the_build(client):
    assert client.get_all("/version", "local.Version") == {
        "version": "11411",
        "githash": "58a24fb7830c9adef4a732a64109d361a584e19a",
    }


@pytest.mark.parametrize("name", ["version", "githash"])
def test_the_version_can_not_be_written(client, name):
    before = client.get("/version", "local.Version", name)

    assert client.error_of_set("/version", "local.Version", name, "another") == "PropertyReadOnly"
    assert client.get("/version", "local.Version", name) == before


def test_the_test_events_have_methods_and_no_properties(client):
    assert len(client.members("/testsystemevent", "method")) == 14
    assert client.members("/testsystemevent", "property") == []


@pytest.mark.parametrize("path", INTERFACES)
def test_the_update_manager_alone_offers_a_signal(client, path):
    assert client.members(path, "signal") == (["scan"] if path == "/loader" else [])


@pytest.mark.parametrize("path", STORES)
def test_the_stores_all_offer_the_same(client, path):
    expected = ["set", "syncSet", "get", "getTrimmed", "exists", "variableList", "getAll", "save"]

    assert client.members(path, "method") == expected


def test_what_is_not_for_clients_is_not_offered(client):
    for method in ("hostnameChanged", "isOnline", "fileUploaded", "pwDisableTimeout", "deleteLater", "setHostname"):
        assert client.error_of("/system", method, "/") == "UnknownMethod"
    for method in ("minFwVersion", "ethernetAddress", "fetchBootEnv"):
        assert client.error_of("/loader", method) == "UnknownMethod"


def test_only_root_may_call_the_daemon(device):
    call = [f"--dest={SERVICE}", "--print-reply", "/version", "org.freedesktop.DBus.Properties.GetAll", "string:"]
    as_nobody = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]

    assert device.exec(["dbus-send", "--system", *call]).returncode == 0
    assert "AccessDenied" in device.exec([*as_nobody, "dbus-send", "--system", *call]).stderr
