"""Two devices on one cable: one makes the other signal, through its web server and its bus."""

import pytest
import web
from busclient import BusClient
from insidetools import platform_calls


def effects(device):
    return platform_calls(device, "SysCfgAccess.startLedEffect")


def signal_remote(client, seconds, address):
    client.call("/system", "remoteMeascardLedSingaling", seconds, address)


@pytest.mark.parametrize(("seconds", "shown"), [(30, 30), (1, 1), (0, 10), (-5, 10)])
def test_one_device_makes_the_other_signal(own_device, own_client, other_device, seconds, shown):
    _, address = own_device.connect(other_device)

    signal_remote(own_client, seconds, address)

    other_device.wait_for(lambda: effects(other_device), what="the other device to signal")
    assert effects(other_device) == [[shown, 6]]
    assert effects(own_device) == []


def test_each_makes_the_other_signal_at_the_same_time(own_device, own_client, other_device):
    ours, theirs = own_device.connect(other_device)

    with BusClient(other_device) as other_client:
        signal_remote(own_client, 21, theirs)
        signal_remote(other_client, 12, ours)

    own_device.wait_for(lambda: effects(own_device) == [[12, 6]], what="this device to signal")
    other_device.wait_for(lambda: effects(other_device) == [[21, 6]], what="the other device to signal")


def test_a_device_that_ends_does_not_take_the_asking_one_with_it(own_device, own_client, other_device):
    _, address = own_device.connect(other_device)
    other_device.stop_daemon()

    signal_remote(own_client, 5, address)  # the web server answers with an error
    other_device.power_cut()
    signal_remote(own_client, 5, address)

    assert own_client.call("/system", "getPwDisable") == 0


def test_a_web_client_calls_the_daemon(own_device):
    assert web.call(own_device, "/system", "local.System", "setPwDisable", "u", "65541")["result"] is None
    assert web.call(own_device, "/system", "local.System", "getPwDisable", "")["result"] == 65541


def test_certificates_licence_and_others_arrive_over_the_web(own_device):
    first, second = web.upload_form(own_device, ("file", "A b.PDF", b"pdf"), ("file", "codesys.lic", b"licence"))
    third = web.upload(own_device, b"other", "notes.txt")

    own_device.wait_for(lambda: not own_device.exists(first), what="the certificate to be taken")
    own_device.wait_for(lambda: own_device.exists("/srv/codesys/codesys.lic"), what="the licence to be taken")
    assert own_device.read("/srv/certificates/A b.PDF") == "pdf"
    assert own_device.read("/srv/codesys/codesys.lic") == "licence"
    assert own_device.read(second) == "licence"
    assert own_device.read(third) == "other"
