"""The store that all clients share as the current one."""

import pytest
from busclient import BusClient

NO_STORE = "error: no bareboxconfig set"


def add_store(client, name, **variables):
    client.call("/loader", "addConfig", name)
    for variable, value in variables.items():
        client.call("/loader", "setEnv", variable, value)


@pytest.fixture(autouse=True)
def main_store_is_current(client):
    client.call("/loader", "addConfig", "config")


def test_the_main_store_is_current_at_first(own_client):
    assert own_client.call("/loader", "getEnv", "eth0.ethaddr") == "00:11:22:33:44:55"


def test_a_look_up_selects_the_store(client):
    assert client.call("/loader", "lookupConfig", "system")

    assert client.call("/loader", "getEnv", "article") == "QMZ-2040"


def test_all_clients_share_the_selection(device, client):
    with BusClient(device) as another:
        another.call("/loader", "lookupConfig", "system")
        assert client.call("/loader", "getEnv", "manufacturer") == "OZT"

        another.call("/loader", "setIp", "10.0.0.1")
        assert client.call("/loader", "getEnv", "eth0.ipaddr") == "10.0.0.1"


def test_after_a_failed_look_up_nothing_is_selected(device, client):
    start = len(device.daemon_log())

    assert not client.call("/loader", "lookupConfig", "nothing")
    client.call("/loader", "setEnv", "ip", "lost")

    assert client.call("/loader", "getEnv", "ip") == ""
    assert NO_STORE in device.daemon_log(start)
    assert client.call("/loader/config", "get", "ip") != "lost"


def test_a_selection_ends_the_state_without_a_store(client):
    client.call("/loader", "lookupConfig", "nothing")

    client.call("/loader", "addConfig", "system")

    assert client.call("/loader", "getEnv", "manufacturer") == "OZT"


def test_adding_a_store_is_logged_also_when_there_is_one(device, client):
    start = len(device.daemon_log())

    client.call("/loader", "addConfig", "system")
    client.call("/loader", "addConfig", "brand new")

    assert device.daemon_log(start) == 'new config file: "system"\nnew config file: "brand new"\n'


def test_a_new_store_is_on_the_bus_at_once_and_on_the_disk_after_a_save(device, client):
    add_store(client, "fresh", colour="red")

    assert client.call("/loader/fresh", "getAll") == {"colour": "red"}
    assert not device.exists("/run/bareboxenv/fresh")

    client.call("/loader/fresh", "save")
    assert device.read("/run/bareboxenv/fresh") == "#!/bin/sh\ncolour=red\n"


def test_adding_a_known_store_does_not_read_its_file_again(device, client):
    device.write("/run/bareboxenv/system", 'manufacturer="another"\n')

    client.call("/loader", "addConfig", "system")

    assert client.call("/loader", "getEnv", "manufacturer") == "OZT"


def test_a_store_whose_name_is_no_path_element_has_no_address_but_works(client):
    add_store(client, "no-address.conf", colour="green")

    assert "no-address.conf" not in client.children("/loader")
    assert client.call("/loader", "getEnv", "colour") == "green"


def test_the_main_store_can_not_be_deleted(device, client):
    client.call("/loader", "lookupConfig", "system")
    start = len(device.daemon_log())

    assert not client.call("/loader", "delConfig", "config")

    assert "deleting main config not allowed." in device.daemon_log(start)
    assert client.call("/loader", "getEnv", "manufacturer") == "OZT"
    assert device.exists("/run/bareboxenv/config")


def test_deleting_an_unknown_store_keeps_the_selection(client):
    client.call("/loader", "lookupConfig", "system")

    assert not client.call("/loader", "delConfig", "nothing")

    assert client.call("/loader", "getEnv", "manufacturer") == "OZT"


def test_a_deleted_store_is_gone_and_the_main_one_selected(device, client):
    add_store(client, "doomed", colour="blue")
    client.call("/loader/doomed", "save")

    assert client.call("/loader", "delConfig", "doomed")

    assert "doomed" not in client.children("/loader")
    assert client.error_of("/loader/doomed", "getAll") == "UnknownObject"
    assert not device.exists("/run/bareboxenv/doomed")
    assert client.call("/loader", "getEnv", "eth0.ethaddr") == "00:11:22:33:44:55"


def test_a_call_that_already_waits_during_a_deletion_finds_no_store_either(client):
    add_store(client, "doomed", colour="blue")
    client.call("/loader/doomed", "save")

    client.send("/loader", "saveEnvNoRestore")  # keeps the daemon busy while the others come in
    client.send("/loader", "delConfig", "doomed")

    assert not client.call("/loader", "lookupConfig", "doomed")


def test_a_store_without_a_file_can_not_be_deleted_but_the_main_one_is_selected(client):
    add_store(client, "unsaved", colour="blue")

    assert not client.call("/loader", "delConfig", "unsaved")

    assert client.call("/loader/unsaved", "get", "colour") == "blue"
    assert client.call("/loader", "getEnv", "eth0.ethaddr") == "00:11:22:33:44:55"


@pytest.mark.parametrize(
    ("method", "variable"),
    [("setIp", "eth0.ipaddr"), ("setGateway", "eth0.gateway"), ("setNetmask", "eth0.netmask")],
)
def test_an_address_goes_to_the_main_store_and_selects_it(client, method, variable):
    client.call("/loader", "lookupConfig", "system")

    client.call("/loader", method, "10.1.2.3")

    assert client.call("/loader/config", "get", variable) == "10.1.2.3"
    assert client.call("/loader", "getEnv", variable) == "10.1.2.3"


def test_an_empty_address_is_stored_empty(device, client):
    client.call("/loader", "setIp", "")
    client.call("/loader/config", "save")

    assert "\neth0.ipaddr=\n" in device.read("/run/bareboxenv/config")


@pytest.mark.parametrize(("dhcp", "mode"), [(True, "dhcp"), (False, "none")])
def test_the_address_mode_is_dhcp_or_none(client, dhcp, mode):
    client.call("/loader", "lookupConfig", "nothing")

    client.call("/loader", "setDhcp", dhcp)

    assert client.call("/loader/config", "get", "ip") == mode
    assert client.call("/loader", "getEnv", "ip") == mode


def test_the_addresses_touch_no_file(device, client):
    before = device.read("/run/bareboxenv/config")

    client.call("/loader", "setGateway", "10.9.9.9")

    assert device.read("/run/bareboxenv/config") == before
