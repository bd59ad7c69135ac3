"""Restart and reset of the PLC runtime, over the bus."""

from insidetools import init_jobs
from plcdevice import CONFIGURATION, FILES, LOADER, RESTART


def reset(client):
    return bool(client.call("/system", "resetCodesys", interface="local.System"))


def test_a_restart_stops_and_starts_the_runtime(device, client):
    assert client.call("/loader", "restartCodesys", interface=LOADER) is None

    device.wait_for(lambda: init_jobs(device, "codesys") == RESTART, what="the calls")
    device.wait_runtime(True)


def test_a_reset_removes_the_applications_and_restarts_the_runtime(device, client):
    configuration = device.read(CONFIGURATION)
    device.write("/srv/codesys/qmz.cfg", "35\nPump\n")

    assert reset(client) is True

    device.wait_for(lambda: init_jobs(device, "codesys") == RESTART, what="the calls")
    kept = {name: content for name, content in FILES.items() if not name.endswith((".app", ".crc"))}
    assert device.files() == kept | {"qmz.cfg": "35\nPump\n"}
    assert sorted(device.events()) == device.removals("/system", "Fan.app", "Fan.crc", "Pump.app", "Pump.crc")
    assert device.read(CONFIGURATION) == configuration


def test_a_reset_without_applications_restarts_the_runtime(device, client):
    device.exec(["sh", "-c", "rm /srv/codesys/*.app /srv/codesys/*.crc"], check=True)

    assert reset(client) is True

    device.wait_for(lambda: init_jobs(device, "codesys") == RESTART, what="the calls")
    assert device.events() == []


def test_a_reset_without_a_runtime_removes_the_files_alone(device, client):
    device.exec(["rm", "-r", "/CODESYSControl"], check=True)

    assert reset(client) is False

    client.ping()
    assert not [name for name in device.files() if name.endswith((".app", ".crc"))]
    assert len(device.events()) == 4
    assert init_jobs(device, "codesys") == []
