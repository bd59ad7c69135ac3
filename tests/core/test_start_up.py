"""What the daemon tells the platform while it starts, and which devices it starts on."""

import pytest
from busclient import BusClient
from insidetools import shell

FILES = ("hostname", "oztversion.conf", "guiLevel1", "guiLevel2", "guiLevel3", "guiSystem", "variables")

OBSTACLES = {
    "a directory": "mkdir",
    "a pipe": "mkfifo",
    "a socket": "/usr/bin/python3 -c 'import socket, sys; socket.socket(socket.AF_UNIX).bind(sys.argv[1])'",
    "a link to itself": 'link() { ln -s "$(basename "$1")" "$1"; }; link',
    "a device": "ln -s /dev/zero",
}

CONTENTS = {
    "nothing": b"",
    "NUL": b"\0",
    "no UTF-8": b"\xff\xfe=\xc3\n",
    "no names": b"=\n=\n",
    "empty lines": b"\n" * 100_000,
    "one long line": b"a" * 1_000_000,
}


def test_the_platform_is_told_what_the_service_looks_after(own_device):
    calls = [(line["call"], line["args"]) for line in own_device.platform_log()]

    assert calls[:4] == [
        (
            "FactoryManager.FactoryManager",
            ["system", r"^\/system($|\/h.*|\/time.*|\/network.*|\/can.*|\/syslog.*)"],
        ),
        ("FactoryManager.start", []),
        ("Qmzlog.open", ["com.ozt.nodekeep", 168, 0]),
        ("Qmzlog.setSyslogLevelWarning", []),
    ]


def test_it_comes_up_on_a_device_without_any_of_its_files(new_device):
    new_device.start(daemon=False)
    shell(new_device, f"cd /etc && rm {' '.join(FILES)}; flash_eraseall /dev/mtdblock1")

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get("/system", "local.System", "oztversion") == ""
        assert client.call("/system/guiLevel3", "variableList") == []
        assert client.children("/loader") == set()


@pytest.mark.parametrize("obstacle", OBSTACLES)
def test_it_waits_for_nothing_that_stands_in_the_place_of_its_files(new_device, obstacle):
    new_device.start(daemon=False)
    shell(new_device, f"cd /etc && for name in {' '.join(FILES)}; do rm $name; {OBSTACLES[obstacle]} $name; done")

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get("/system", "local.System", "oztversion") == ""
        client.call("/system/variables", "syncSet", "TIMEZONE", "Europe/Rome")
        assert client.call("/system/variables", "get", "TIMEZONE") == "Europe/Rome"


def test_what_stands_in_the_place_of_a_file_stays(new_device):
    new_device.start(daemon=False)
    shell(new_device, "rm /etc/variables; mkfifo /etc/variables")
    new_device.start_daemon()

    with BusClient(new_device) as client:
        client.call("/system/variables", "syncSet", "TIMEZONE", "Europe/Rome")

    shell(new_device, "test -p /etc/variables")


@pytest.mark.parametrize("content", CONTENTS.values(), ids=CONTENTS)
def test_it_comes_up_whatever_its_files_hold(new_device, content):
    new_device.start(daemon=False)
    for name in FILES:
        new_device.write(f"/etc/{name}", content)

    new_device.start_daemon()

    with BusClient(new_device) as client:
        assert client.get_all("/system", "local.System")["oztversion"] == ""
        client.ping()


def test_it_comes_up_without_room_for_the_platform_log(new_device):
    new_device.start(daemon=False)
    shell(new_device, "rm -rf /var/log/qmz; echo >/var/log/qmz")

    new_device.start_daemon()

    with BusClient(new_device) as client:
        client.call("/testsystemevent", "reboot", "/")
        client.ping()
