"""The stores below /system: settings that the device's programs share."""

import pytest
from busclient import BusClient

STORES = ("variables", "guiLevel1", "guiLevel2", "guiLevel3", "guiSystem")


def test_the_stores_hold_what_their_files_do(own_client):
    assert own_client.call("/system/variables", "get", "TIMEZONE") == '"Europe/Berlin"'
    assert own_client.call("/system/guiSystem", "getTrimmed", "startpage") == "/overview"
    for level in (1, 2, 3):
        assert own_client.call(f"/system/guiLevel{level}", "getTrimmed", "user") == f"level{level}"


@pytest.mark.parametrize("store", STORES)
def test_sync_set_reaches_the_file_in_place(device, client, store):
    before = device.read(f"/etc/{store}")

    client.call(f"/system/{store}", "syncSet", "probe", "a b")

    assert device.read(f"/etc/{store}") == before + "probe=a b\n"


@pytest.mark.parametrize("store", STORES)
def test_set_reaches_the_file_with_the_next_save(device, client, store):
    before = device.read(f"/etc/{store}")

    client.call(f"/system/{store}", "set", "later", "1")
    assert device.read(f"/etc/{store}") == before

    client.call(f"/system/{store}", "save")
    assert device.read(f"/etc/{store}") == before + "later=1\n"


def test_settings_survive_a_power_cycle(own_device, own_client):
    for store in STORES:
        own_client.call(f"/system/{store}", "syncSet", "probe", store)

    own_device.power_cycle()

    with BusClient(own_device) as client:
        for store in STORES:
            assert client.call(f"/system/{store}", "get", "probe") == store


def test_a_change_by_another_program_is_not_seen_and_lost_at_the_next_save(own_device, own_client):
    own_device.write("/etc/guiLevel1", 'user="another"\n')

    assert own_client.call("/system/guiLevel1", "getTrimmed", "user") == "level1"
    own_client.call("/system/guiLevel1", "save")
    assert "another" not in own_device.read("/etc/guiLevel1")


def test_a_file_that_was_not_there_comes_into_being_with_the_first_save(new_device):
    new_device.start(daemon=False)
    new_device.exec(["rm", "/etc/guiLevel2"], check=True)
    new_device.start_daemon()

    with BusClient(new_device) as client:
        client.call("/system/guiLevel2", "set", "user", "new")
        assert not new_device.exists("/etc/guiLevel2")
        client.call("/system/guiLevel2", "save")

    assert new_device.read("/etc/guiLevel2") == "#!/bin/sh\nuser=new\n"


def test_a_megabyte_goes_to_the_file_and_back(own_device, own_client):
    value = "0123456789" * 100_000
    own_client.call("/system/variables", "syncSet", "large", value)

    own_device.stop_daemon()
    own_device.start_daemon()

    with BusClient(own_device) as client:
        assert client.call("/system/variables", "get", "large") == value
