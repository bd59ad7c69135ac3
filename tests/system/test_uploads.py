"""Uploads that the web server announces: certificates and the licence of the PLC runtime."""

import os

import dbus
import dbus.lowlevel
import pytest
from insidetools import resident_kib, shell

TEMPORARY = "/tmp/upload"
CERTIFICATES = "/srv/certificates"
LICENCE = "/srv/codesys/codesys.lic"


def announce(client, *arguments, signature="ss", path="/", interface="com.ozt.httpdata", name="fileUploaded"):
    """Emits the web server's signal, and returns when the daemon has dealt with it."""
    signal = dbus.lowlevel.SignalMessage(path, interface, name)
    signal.append(*arguments, signature=signature)
    client.connection.send_message(signal)
    client.call("/system", "getPwDisable")  # a ping would be answered ahead of the signal


def upload(device, client, content, name):
    device.write(TEMPORARY, content)
    announce(client, TEMPORARY, name)


def certificates(device):
    return sorted(shell(device, f"ls {CERTIFICATES} 2>/dev/null || true").splitlines())


@pytest.fixture(autouse=True)
def nothing_stored(device):
    shell(device, f"rm -rf {CERTIFICATES} /srv/codesys {TEMPORARY}")


@pytest.mark.parametrize("name", ["report.pdf", "REPORT.PDF", "Kalibrierschein Nr. 7 ä.Pdf", ".pdf", "-rf.pdf"])
def test_a_certificate_is_kept_under_the_uploaders_name(device, client, name):
    content = os.urandom(100_000)

    upload(device, client, content, name)

    assert device.read_bytes(f"{CERTIFICATES}/{name}") == content
    assert not device.exists(TEMPORARY)


def test_a_certificate_of_the_same_name_is_replaced(device, client):
    upload(device, client, "a longer text", "a.pdf")
    upload(device, client, "b", "a.pdf")

    assert device.read(f"{CERTIFICATES}/a.pdf") == "b"
    assert certificates(device) == ["a.pdf"]


@pytest.mark.parametrize(
    "name", ["a.txt", "pdf", "a.pdf.gz", "a.pdf ", "", "/", pytest.param("x" * 100_000, id="long")]
)
def test_another_file_is_left_to_its_other_listeners(device, client, name):
    upload(device, client, "content", name)

    assert device.read(TEMPORARY) == "content"
    assert not device.exists(CERTIFICATES)


def test_a_path_in_the_name_counts(device, client):
    upload(device, client, "a", "../elsewhere.pdf")
    upload(device, client, "b", "/srv/absolute.pdf")

    assert device.read("/srv/elsewhere.pdf") == "a"
    assert device.read("/srv/absolute.pdf") == "b"
    assert certificates(device) == []


def test_an_upload_that_is_not_there_takes_the_older_certificate_with_it(device, client):
    upload(device, client, "a", "a.pdf")

    announce(client, "/tmp/missing", "a.pdf")

    assert certificates(device) == []


def test_with_a_file_in_the_directorys_place_an_upload_ends_up_beside_it(device, client):
    shell(device, f"echo no directory >{CERTIFICATES}")

    upload(device, client, "a", "a.pdf")

    assert not device.exists(TEMPORARY)
    assert device.read(CERTIFICATES) == "no directory\n"
    assert device.read("/srv/a.pdf") == "a"
    shell(device, "rm /srv/a.pdf")


def test_what_is_no_file_is_not_waited_for(device, client):
    for source in ("mkfifo /tmp/odd", "ln -s /dev/zero /tmp/odd", "mkdir /tmp/odd"):
        shell(device, f"rm -rf /tmp/odd; {source}")

        announce(client, "/tmp/odd", "a.pdf")
        announce(client, "/tmp/odd", "codesys.lic")

    assert certificates(device) == []
    assert not device.exists(LICENCE)


def test_a_large_certificate_arrives_whole(device, client):
    upload(device, client, os.urandom(30_000_000), "large.pdf")

    assert shell(device, f"stat -c %s {CERTIFICATES}/large.pdf").strip() == "30000000"


def test_a_full_partition_loses_the_upload_and_nothing_else(device, client):
    shell(device, "mount -t tmpfs -o size=200k none /srv && mkdir /srv/certificates")
    try:
        upload(device, client, "small", "small.pdf")
        upload(device, client, "x" * 1_000_000, "large.pdf")

        assert not device.exists(TEMPORARY)
        assert certificates(device) == ["small.pdf"]
    finally:
        shell(device, "umount /srv")


def test_the_licence_is_copied_and_the_upload_stays(device, client):
    shell(device, "mkdir -p /srv/codesys && echo app >/srv/codesys/Application.app")
    upload(device, client, "an older licence", "codesys.lic")

    upload(device, client, "new", "codesys.lic")

    assert device.read(LICENCE) == "new"
    assert device.read(TEMPORARY) == "new"
    assert device.read("/srv/codesys/Application.app") == "app\n"
    assert certificates(device) == []


@pytest.mark.parametrize("name", ["CODESYS.LIC", "./codesys.lic", "codesys.lic.old", "/srv/codesys/codesys.lic"])
def test_the_licence_is_known_by_its_exact_name(device, client, name):
    upload(device, client, "x", name)

    assert not device.exists(LICENCE)


def test_all_certificates_are_deleted_and_counted(device, client):
    shell(
        device, f"mkdir -p {CERTIFICATES}/directory.pdf && cd {CERTIFICATES} && touch a.pdf B.PDF -- -c.pdf d.txt pdf"
    )

    assert client.call("/system", "deleteAllCertificates") == 3

    assert certificates(device) == ["d.txt", "directory.pdf", "pdf"]
    assert client.call("/system", "deleteAllCertificates") == 0


def test_deleting_does_not_make_the_directory(device, client):
    assert client.call("/system", "deleteAllCertificates") == 0

    assert not device.exists(CERTIFICATES)


@pytest.mark.parametrize(
    ("signature", "arguments"),
    [("", ()), ("s", (TEMPORARY,)), ("sss", (TEMPORARY, "a.pdf", "b")), ("su", (TEMPORARY, 1)), ("us", (1, "a.pdf")),
     ("as", ([TEMPORARY, "a.pdf"],)), ("(ss)", ((TEMPORARY, "a.pdf"),)), ("v", (TEMPORARY,)), ("vv", ("a", "a.pdf")),
     ("os", (TEMPORARY, "a.pdf")), ("a{sv}", ({},)), ("ayay", (b"a", b"a.pdf"))],
)  # fmt: skip
def test_a_signal_with_other_arguments_is_not_heard(device, client, signature, arguments):
    device.write(TEMPORARY, "kept")

    announce(client, *arguments, signature=signature)

    assert device.read(TEMPORARY) == "kept"
    assert not device.exists(CERTIFICATES)


@pytest.mark.parametrize("other", [{"path": "/other"}, {"interface": "com.ozt.other"}, {"name": "fileRemoved"}])
def test_other_signals_are_not_heard(device, client, other):
    device.write(TEMPORARY, "kept")

    announce(client, TEMPORARY, "a.pdf", **other)

    assert device.read(TEMPORARY) == "kept"


def test_certificates_survive_a_power_cycle(own_device, own_client):
    upload(own_device, own_client, "kept", "a.pdf")

    own_device.power_cycle()

    assert own_device.read(f"{CERTIFICATES}/a.pdf") == "kept"


def test_a_thousand_uploads_do_not_make_the_daemon_grow(sparing_device, sparing_client):
    def work(count):
        for _ in range(count):
            announce(sparing_client, "/etc/hostname-missing", "a.pdf")

    work(100)
    before = resident_kib(sparing_device)

    work(1000)

    assert resident_kib(sparing_device) - before < 1024
