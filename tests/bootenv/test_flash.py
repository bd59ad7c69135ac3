"""The boot environment's way between the flash, the directory of files and the stores."""

from busclient import BusClient
from insidetools import SHADOWS, shadow, shell, start_shadowed

TOOL_CALLS = "/run/tool-calls"


def record_tools(device):
    """Lets every call of a flash tool leave a line in TOOL_CALLS before it does its work."""
    for tool in ("bareboxenv", "flash_eraseall", "rm"):
        shadow(device, tool, f'echo "{tool} $*" >>{TOOL_CALLS}; PATH=${{PATH#{SHADOWS}:}} exec {tool} "$@"')


def environment_files(device):
    return set(shell(device, "ls -A /run/bareboxenv").split())


def test_the_first_start_unpacks_the_flash_and_removes_nothing(new_device):
    new_device.start(daemon=False)
    record_tools(new_device)

    start_shadowed(new_device)

    assert new_device.read(TOOL_CALLS) == "bareboxenv -l /var/run/bareboxenv/ /dev/mtdblock1\n"
    assert environment_files(new_device) == {"boot", "config", "system"}


def test_a_later_start_discards_the_old_directory_first(own_device):
    own_device.write("/run/bareboxenv/leftover", "a=1\n")
    own_device.stop_daemon()
    record_tools(own_device)

    start_shadowed(own_device)

    assert own_device.read(TOOL_CALLS).splitlines() == [
        "rm -r -- /var/run/bareboxenv/",
        "bareboxenv -l /var/run/bareboxenv/ /dev/mtdblock1",
    ]
    assert environment_files(own_device) == {"boot", "config", "system"}


def test_each_save_erases_and_writes_the_flash(new_device):
    new_device.start(daemon=False)
    record_tools(new_device)
    start_shadowed(new_device)
    shell(new_device, f"rm {TOOL_CALLS}")

    with BusClient(new_device) as client:
        client.call("/loader", "saveEnv")
        client.call("/loader", "saveEnvNoRestore")

    erase, write = "flash_eraseall /dev/mtdblock1", "bareboxenv -s /var/run/bareboxenv/ /dev/mtdblock1"
    assert new_device.read(TOOL_CALLS).splitlines() == [erase, write, erase, write]


def test_what_was_saved_survives_a_power_cycle(own_device, own_client):
    own_client.call("/loader", "setEnv", "ip", "none")
    own_client.call("/loader", "addConfig", "extra")
    own_client.call("/loader", "setEnv", "colour", "red")
    own_client.call("/loader", "saveEnv")

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert client.call("/loader/config", "get", "ip") == "none"
        assert client.call("/loader/extra", "getAll") == {"colour": "red"}


def test_what_was_not_saved_is_gone_after_a_power_cycle(own_device, own_client):
    own_client.call("/loader", "setEnv", "ip", "none")
    own_client.call("/loader/system", "syncSet", "serial", "0")

    own_device.power_cycle()

    with BusClient(own_device) as client:
        assert client.call("/loader/config", "get", "ip") == "dhcp"
        assert client.call("/loader/system", "get", "serial") == '"4711-0815"'


def test_the_files_go_to_the_flash_as_they_stand_without_the_stores(own_device, own_client):
    before = own_device.flash
    own_client.call("/loader", "setEnv", "ip", "none")
    own_device.write("/run/bareboxenv/by-hand", "a=1\n")

    own_client.call("/loader", "saveEnvNoRestore")

    assert own_device.flash == {**before, "by-hand": "a=1\n"}


def test_a_deleted_store_leaves_the_flash_with_the_next_save(own_device, own_client):
    assert own_client.call("/loader", "delConfig", "boot")
    assert "boot" in own_device.flash

    own_client.call("/loader", "saveEnv")

    assert set(own_device.flash) == {"config", "system"}


def test_a_deleted_store_comes_back_with_a_load_before_the_save(own_client):
    own_client.call("/loader", "delConfig", "boot")

    own_client.call("/loader", "loadEnv")

    assert own_client.call("/loader/boot", "exists", "bootargs")


def test_a_load_keeps_the_stores_and_renews_the_files(own_device, own_client):
    own_client.call("/loader/config", "syncSet", "ip", "none")

    own_client.call("/loader", "loadEnv")

    assert own_client.call("/loader/config", "get", "ip") == "none"
    assert "\nip=dhcp\n" in own_device.read("/run/bareboxenv/config")


def test_a_load_adds_stores_for_new_files_and_the_next_save_keeps_all(own_device, own_client):
    own_client.call("/loader", "addConfig", "own")
    own_device.flash = {"config": "ip=static\n", "late": "a=1\n"}

    own_client.call("/loader", "loadEnv")
    assert own_client.call("/loader/late", "get", "a") == "1"
    assert environment_files(own_device) == {"config", "late"}

    own_client.call("/loader", "saveEnv")
    assert set(own_device.flash) == {"boot", "config", "system", "late", "own"}
    assert "\nip=dhcp\n" in own_device.flash["config"]
    assert own_device.flash["own"] == "#!/bin/sh\n"


def test_the_reply_to_a_save_comes_after_the_flash_is_written(own_device, own_client):
    for count in range(3):
        own_client.call("/loader/system", "set", "count", str(count))
        own_client.call("/loader", "saveEnv")
        assert f"\ncount={count}\n" in own_device.flash["system"]
