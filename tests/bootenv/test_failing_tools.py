"""A boot environment that can't be read or written: the daemon is there all the same."""

import pytest
from busclient import BusClient
from insidetools import daemon_children, shadow, shell, start_shadowed


def assert_all_unset(client):
    assert client.children("/loader") == set()
    assert client.call("/loader", "getEnv", "ip") == ""
    assert not client.call("/loader", "lookupConfig", "config")


def damage(device):
    with open(device.state.path("flash"), "r+b") as flash:
        flash.seek(600)
        flash.write(b"damage")


def erase(device):
    with open(device.state.path("flash"), "wb") as flash:
        flash.write(b"\xff" * 256 * 1024)


@pytest.mark.parametrize("spoil", [damage, erase])
def test_a_spoilt_flash_leaves_all_unset(new_device, spoil):
    new_device.start(daemon=False)
    spoil(new_device)

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert_all_unset(client)


def test_a_save_makes_a_spoilt_flash_good_again(new_device):
    new_device.start(daemon=False)
    erase(new_device)
    new_device.start_daemon()

    with BusClient(new_device) as client:
        client.call("/loader", "setIp", "10.0.0.1")
        client.call("/loader", "saveEnv")

    assert new_device.flash == {"config": "#!/bin/sh\neth0.ipaddr=10.0.0.1\n"}


def test_without_its_tools_the_daemon_comes_up_with_all_unset(new_device):
    new_device.start(daemon=False)

    new_device.start_daemon(env={"PATH": "/nowhere"})

    with BusClient(new_device) as client:
        assert_all_unset(client)
        client.call("/loader", "loadEnv")
        client.call("/loader", "saveEnv")
        client.ping()


def test_without_the_flash_all_is_unset(new_device):
    new_device.start(daemon=False)
    shell(new_device, "umount /dev/mtdblock1; rm /dev/mtdblock1")

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert_all_unset(client)
        client.call("/loader", "saveEnv")


@pytest.mark.parametrize("end", ["exit 1", "kill -SEGV $$", "head -c 1000000 /dev/zero; echo words >&2; exit 3"])
def test_a_tool_that_fails_leaves_what_it_unpacked(new_device, end):
    new_device.start(daemon=False)
    shadow(new_device, "bareboxenv", f'echo a=1 >"$2/half"; {end}')

    start_shadowed(new_device)

    with BusClient(new_device) as client:
        assert client.call("/loader/half", "getAll") == {"a": "1"}


def test_a_tool_may_leave_anything_in_the_directory(new_device):
    new_device.start(daemon=False)
    links = "ln -s /nowhere dangling; ln -s /etc/variables link"
    shadow(new_device, "bareboxenv", f"cd $2; mkdir dir; mkfifo pipe; {links}; echo b=2 >.hidden; echo a=1 >x")

    start_shadowed(new_device)

    with BusClient(new_device) as client:
        assert client.children("/loader") == {"link", "x"}


@pytest.mark.parametrize("obstacle", ["mkdir", "mkfifo", "ln -s /dev/zero"])
def test_nothing_waits_for_what_stands_in_the_place_of_a_store(own_device, own_client, obstacle):
    shell(own_device, f"cd /run/bareboxenv && rm -f config && {obstacle} config && {obstacle} other")

    own_client.call("/loader", "addConfig", "other")
    own_client.call("/loader", "setEnv", "a", "1")
    own_client.call("/loader", "saveEnv")

    assert own_client.call("/loader/other", "getAll") == {"a": "1"}
    assert own_client.call("/loader/config", "get", "ip") == "dhcp"
    assert own_client.call("/loader/system", "get", "article") == '"QMZ-2040"'


@pytest.mark.parametrize("obstacle", ["echo >", "mkfifo ", "ln -s /nowhere "])
def test_nothing_waits_for_what_stands_in_the_place_of_the_directory(new_device, obstacle):
    new_device.start(daemon=False)
    shell(new_device, f"{obstacle}/run/bareboxenv")

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert_all_unset(client)


def test_a_flash_that_is_too_small_stays_erased(own_device, own_client):
    own_client.call("/loader", "setEnv", "large", "x" * 300_000)

    own_client.call("/loader", "saveEnv")

    own_device.power_cycle()
    with BusClient(own_device) as client:
        assert_all_unset(client)


@pytest.mark.slow(seconds=60)
def test_an_erasure_that_overruns_also_stops_the_write_and_is_ended(own_device):
    own_device.stop_daemon()
    shadow(own_device, "flash_eraseall", "echo $$ >>/run/erasures; exec sleep 1000")
    shadow(own_device, "bareboxenv", 'echo "$1" >>/run/calls; exec /usr/sbin/bareboxenv "$@"')
    start_shadowed(own_device)
    before = own_device.flash

    with BusClient(own_device) as client:
        client.call("/loader", "setEnv", "ip", "none")
        client.call("/loader", "saveEnv", limit=90)
        client.ping()

    assert own_device.read("/run/calls") == "-l\n"
    assert own_device.flash == before
    assert len(own_device.read("/run/erasures").split()) == 1
    assert daemon_children(own_device) == []
    assert not own_device.exists(f"/proc/{own_device.read('/run/erasures').strip()}")
