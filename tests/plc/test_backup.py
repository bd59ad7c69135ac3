"""Backups of the PLC runtime's applications, over the bus and with the device's own tar."""

import re

import pytest
import web
from insidetools import init_jobs
from plcdevice import CONFIGURATION, DIRECTORY, FILES, LIST, LOADER, RESTART


def back_up(client, limit=70):
    return str(client.call("/loader", "createCodesysTarball", interface=LOADER, limit=limit))


def restore(client, path):
    return bool(client.call("/loader", "restoreCodesysFromTarball", path, interface=LOADER, limit=40))


def content(device, archive):
    device.exec(["rm", "-rf", "/tmp/content"], check=True)
    device.exec(["mkdir", "/tmp/content"], check=True)
    device.exec(["tar", "-xzf", archive, "-C", "/tmp/content"], check=True)
    return device.files("/tmp/content")


def test_a_backup_holds_the_runtimes_files_and_its_list(device, client):
    device.write(f"{DIRECTORY}/stranger", "not of the backup")

    archive = back_up(client)

    assert re.fullmatch(r"/tmp/[0-9a-f-]{36}\.tar\.gz", archive)
    assert content(device, archive) == FILES | {"qmz.cfg": "35\nPump\nFan\n"}
    assert not device.exists(LIST)
    assert init_jobs(device, "codesys") == [] and device.runtime_runs()
    assert device.asked_runtime() == ["apps", "version"]


def test_a_backup_logs_the_arguments_of_tar(device, client):
    archive = back_up(client)

    names = [
        "recipe.txt",
        "Pump.app",
        "SysFileMap.cfg",
        "visu",
        "PlcLogic",
        "Pump.crc",
        "Fan.app",
        "Fan.crc",
        "qmz.cfg",
    ]
    arguments = ["-f", archive, "-C", DIRECTORY, "-cz", *names]
    assert ", ".join(f'"{argument}"' for argument in arguments) in device.daemon_log()


def test_a_backup_comes_back_file_by_file_and_starts_the_runtime(device, client):
    archive = back_up(client)
    device.exec(["sh", "-c", f"rm -r {DIRECTORY}/*"], check=True)
    device.write(f"{DIRECTORY}/Newer.app", "x")
    device.write(f"{DIRECTORY}/Newer.txt", "x")

    assert restore(client, archive) is True

    assert device.files() == FILES | {"qmz.cfg": "35\nPump\nFan\n", "Newer.txt": "x"}
    assert device.read(CONFIGURATION) == "[SysFile]\na=b\n\n[CmpApp]\nApplication.1=Pump\nApplication.2=Fan\nx=y\n"
    assert init_jobs(device, "codesys") == RESTART
    device.wait_runtime(True)
    assert not device.exists(archive)
    assert device.events() == device.removals("/loader", "Newer.app")


def test_two_backups_in_a_row_have_different_names(device, client):
    first, second = back_up(client), back_up(client)

    assert first != second
    assert sorted([first, second]) == sorted(device.archives())


@pytest.mark.parametrize(
    ("line", "written"),
    [
        (("i", 35), "35"),
        (("s", "3.5.14.10"), "3.5.14.10"),
        (("u", 4000000000), "4000000000"),
        (("s", ""), ""),
        (("y", 35), "35"),
    ],
)
def test_the_version_is_written_as_the_runtime_tells_it(device, client, line, written):
    device.let_runtime_answer("version", *line)

    assert content(device, back_up(client))["qmz.cfg"] == f"{written}\nPump\nFan\n"


@pytest.mark.parametrize("name", ["--remove-files", "-", "my pump", "it's; reboot", "Füllstand"])
def test_a_name_is_a_file_and_nothing_else(device, client, name):
    device.let_runtime_answer("apps", "as", [name])
    device.write(f"{DIRECTORY}/{name}.app", "code")
    device.write(f"{DIRECTORY}/{name}.crc", "sum")

    backup = content(device, back_up(client))

    assert (backup[f"{name}.app"], backup[f"{name}.crc"]) == ("code", "sum")
    assert device.files().keys() >= FILES.keys()


def expect_failure(device, client):
    assert back_up(client) == ""
    assert device.archives() == []
    assert not device.exists(LIST)


def test_a_backup_fails_without_the_runtime(device, client):
    device.exec(["busctl", "call", "com.ubuntu.Upstart", "/com/ubuntu/Upstart/jobs/codesys",
                 "com.ubuntu.Upstart0_6.Job", "Stop", "asb", "0", "true"], check=True)  # fmt: skip
    device.wait_runtime(False)

    expect_failure(device, client)


@pytest.mark.parametrize(
    ("method", "line"),
    [
        ("apps", ("error",)),
        ("version", ("error",)),
        ("apps", ("s", "Pump")),
        ("apps", ("a{ss}", {"Pump": "1"})),
        ("apps", ("av", ["Pump"])),
        ("apps", ("as",)),
        ("version", ("as", ["35"])),
        ("version", ("a{ss}", {})),
        ("version", ("o", "/35")),
        ("version", ("i",)),
    ],
)
def test_a_backup_fails_when_the_runtime_fails_or_lies(device, client, method, line):
    device.let_runtime_answer(method, *line)

    expect_failure(device, client)


@pytest.mark.slow
def test_a_backup_fails_when_the_runtime_is_silent(device, client):
    device.let_runtime_answer("version", "silence")

    expect_failure(device, client)


@pytest.mark.parametrize("missing", ["recipe.txt", "Fan.crc", "Pump.app", "SysFileMap.cfg"])
def test_a_backup_fails_when_a_file_is_missing(device, client, missing):
    device.exec(["rm", f"{DIRECTORY}/{missing}"], check=True)

    expect_failure(device, client)


def test_a_corrupt_archive_leaves_the_runtime_stopped_until_the_next_restart(device, client):
    device.write("/tmp/corrupt", "no archive")

    assert restore(client, "/tmp/corrupt") is False

    assert not device.exists("/tmp/corrupt")
    assert sorted(device.events()) == device.removals("/loader", "Fan.app", "Fan.crc", "Pump.app", "Pump.crc")
    assert [name for name in device.files() if name.endswith((".app", ".crc"))] == []
    assert init_jobs(device, "codesys") == RESTART[:1]
    device.wait_runtime(False)
    client.call("/loader", "restartCodesys", interface=LOADER)
    device.wait_runtime(True)


def test_a_restore_without_a_configuration_fails_and_starts_the_runtime(device, client):
    archive = back_up(client)
    device.exec(["rm", "-r", "/CODESYSControl"], check=True)

    assert restore(client, archive) is False

    assert device.files()["Pump.app"] == FILES["Pump.app"]
    assert init_jobs(device, "codesys") == RESTART
    device.wait_runtime(True)


def test_members_that_lead_outside_are_not_unpacked(device, client):
    device.write("/tmp/evil", "evil")
    names = "--transform=s,evil,../escaped,"
    device.exec(["tar", "-P", "-C", "/tmp", names, "-czf", "/tmp/bad.tar.gz", "evil"], check=True)

    assert restore(client, "/tmp/bad.tar.gz") is False

    assert not device.exists("/srv/escaped")


def announce(device, path, name):
    device.exec(["busctl", "emit", "/", "com.ozt.httpdata", "fileUploaded", "ss", path, name], check=True)


def test_an_uploaded_backup_is_restored_and_shown(device, client):
    archive = back_up(client)

    stored = web.upload(device, device.read_bytes(archive), "plant.tgz", kind="codesys.tgz")

    device.wait_for(lambda: ["startLedEffect", 60, 5] in device.events(), what="the LEDs")
    assert not [event for event in device.events() if event[0] == "firmwareUpdate"]
    assert "Application.1=Pump\nApplication.2=Fan\n" in device.read(CONFIGURATION)
    assert f'codesys file uploaded: "{stored}"   "plant.tgz"' in device.daemon_log()


def test_an_uploaded_file_that_is_no_backup_is_not_shown(device, client):
    device.write("/tmp/codesys.tgz", "no archive")

    announce(device, "/tmp/codesys.tgz", "codesys.tgz")

    device.wait_for(lambda: not device.exists("/tmp/codesys.tgz"), what="the file to go")
    client.ping()
    assert {event[0] for event in device.events()} == {"codesysFileRemoved"}
