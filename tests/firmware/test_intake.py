"""Packages that are uploaded or downloaded, from the signal to the record on the bus."""

import pytest

from firmwaredevice import NOT_UNPACKED, TAKEN, FirmwareDevice

REFUSED_AT_ONCE = [1, (60, 5), 2, (10, 1), 0]


def test_a_good_package_becomes_a_record_on_the_bus(device: FirmwareDevice, make_package):
    stored = device.upload(make_package("--date", "2026-11-21"))

    device.wait_told(TAKEN)
    assert device.records() == {
        "fwupdate0": {
            "path": "/loader/fwupdate0",
            "version": "4.3",
            "svnversion": "12000",
            "minUpdaterVer": 3,
            "date": "2026-11-21",
            "releasename": "Harvest",
        }
    }
    assert "/loader/fwupdate0" in device.tree()
    assert device.call("/loader/fwupdate0", "local.NandUpdate", "releasename") == "Harvest"
    assert device.firmware_directories() == ["fwupdate0"]
    assert not device.exists(stored)


@pytest.mark.parametrize(
    ("options", "told"),
    [
        pytest.param(["--broken", "missing-control"], REFUSED_AT_ONCE, id="no control file"),
        pytest.param(["--broken", "missing-directory"], REFUSED_AT_ONCE, id="no firmware directory"),
        pytest.param(["--min-updater-version", "4"], REFUSED_AT_ONCE, id="needs a newer updater"),
        pytest.param(["--min-updater-version", "three"], REFUSED_AT_ONCE, id="updater generation is no number"),
        pytest.param(["--version", "2.9"], REFUSED_AT_ONCE, id="version below the floor"),
        pytest.param(["--version", "4.3.1"], REFUSED_AT_ONCE, id="version is no number"),
        pytest.param(["--version", "2.10"], REFUSED_AT_ONCE, id="version counts as a decimal number"),
        pytest.param(["--broken", "fifo"], REFUSED_AT_ONCE, id="kernel is a FIFO"),
        pytest.param(["--broken", "device"], REFUSED_AT_ONCE, id="root is an endless device"),
        pytest.param(["--broken", "missing-root.ubi.md5"], [1, (60, 5), 2, 3, (10, 1), 0], id="no root sum"),
        pytest.param(["--broken", "missing-linuximage"], REFUSED_AT_ONCE, id="no kernel"),
        pytest.param(["--broken", "missing-linuximage.md5"], REFUSED_AT_ONCE, id="no kernel sum"),
        pytest.param(["--broken", "wrong-sum-linuximage"], REFUSED_AT_ONCE, id="wrong kernel sum"),
        pytest.param(["--broken", "capital-digest"], REFUSED_AT_ONCE, id="digest in capitals"),
        pytest.param(["--broken", "bare-digest"], REFUSED_AT_ONCE, id="digest without a name"),
        pytest.param(["--broken", "symlinks"], REFUSED_AT_ONCE, id="kernel is a link"),
        pytest.param(["--broken", "missing-root.ubi"], [1, (60, 5), 2, 3, (10, 1), 0], id="no root"),
        pytest.param(["--broken", "wrong-sum-root.ubi"], [1, (60, 5), 2, 3, (10, 1), 0], id="wrong root sum"),
        pytest.param(["--broken", "not-gzip"], NOT_UNPACKED, id="not compressed"),
        pytest.param(["--broken", "not-tar"], NOT_UNPACKED, id="no archive"),
        pytest.param(["--broken", "truncated"], NOT_UNPACKED, id="truncated"),
        pytest.param(["--broken", "empty"], NOT_UNPACKED, id="empty"),
        pytest.param(["--broken", "dotdot-names"], NOT_UNPACKED, id="name with .."),
    ],
)
def test_a_bad_package_is_refused_and_the_next_good_one_taken(device: FirmwareDevice, make_package, options, told):
    stored = device.upload(make_package(*options))

    device.wait_told(told)
    assert device.records() == {}
    assert not device.exists(stored)
    assert not device.exists("/escaped") and not device.exists("/srv/escaped")
    assert told == NOT_UNPACKED or "firmware" not in device.firmware_directories()

    device.upload(make_package())

    device.wait_told(told + TAKEN)
    assert list(device.records()) == ["fwupdate0"]


@pytest.mark.parametrize(
    "options",
    [["--broken", "many-entries"], ["--broken", "absolute-names"], ["--version", "3.0"], ["--version", "3.00"]],
    ids=["10,000 entries", "absolute names that tar tames", "version at the floor", "the same as a number"],
)
def test_a_package_at_the_limits_is_taken(device: FirmwareDevice, make_package, options):
    device.upload(make_package(*options))

    device.wait_told(TAKEN)
    assert list(device.records()) == ["fwupdate0"]
    assert not device.exists("/escaped")


def test_numbers_go_up_and_are_counted_anew_at_the_next_start(device: FirmwareDevice, make_package):
    package = make_package()
    device.upload(package)
    device.wait_told(TAKEN)
    device.upload(package)
    device.wait_told(TAKEN * 2)
    assert list(device.records()) == ["fwupdate0", "fwupdate1"]

    device.call("/loader/fwupdate0", "local.NandUpdate", "deleteFw")
    device.stop_daemon()
    device.start_daemon()
    device.keep_uploads()
    device.wait_for(lambda: device.records(), what="the scan")
    device.upload(package)
    device.wait_told(TAKEN * 3)

    assert sorted(device.records()) == ["fwupdate1", "fwupdate2"]


@pytest.mark.parametrize(
    ("signature", "arguments"),
    [
        ("", []),
        ("s", ["/tmp/x-fwupdate"]),
        ("sss", ["/tmp/x-fwupdate", "a", "b"]),
        ("su", ["/tmp/x-fwupdate", "1"]),
        ("as", ["1", "/tmp/x-fwupdate"]),
        ("v", ["s", "/tmp/x-fwupdate"]),
        ("ay", ["2", "1", "2"]),
    ],
)
def test_an_upload_signal_with_other_arguments_is_not_heard(device: FirmwareDevice, signature, arguments):
    device.busctl("emit", "/", "com.ozt.httpdata", "fileUploaded", signature, *arguments)

    assert device.records() == {}  # it still answers
    assert device.told() == []


@pytest.mark.parametrize(
    ("path", "interface", "signal"),
    [
        ("/other", "com.ozt.httpdata", "fileUploaded"),
        ("/", "com.ozt.other", "fileUploaded"),
        ("/", "com.ozt.httpdata", "fileRemoved"),
    ],
)
def test_other_signals_are_not_heard(device: FirmwareDevice, path, interface, signal):
    device.busctl("emit", path, interface, signal, "ss", "/tmp/x-fwupdate", "update.qmz")

    assert device.records() == {}
    assert device.told() == []


@pytest.mark.parametrize("name", ["/tmp/FWUPDATE", "/tmp/fwupdate.tgz", "/tmp/other", ""])
def test_other_uploads_are_ignored(device: FirmwareDevice, name):
    device.announce(name)

    assert device.records() == {}
    assert device.told() == []


def test_two_uploads_at_once_leave_no_half_firmware(device: FirmwareDevice, make_package):
    device.write("/tmp/one-fwupdate", make_package())
    device.write("/tmp/two-fwupdate", make_package("--version", "4.4"))
    both = "for n in one two; do busctl emit / com.ozt.httpdata fileUploaded ss /tmp/$n-fwupdate x; done"
    device.exec(["sh", "-c", both], check=True)

    # Both unpack into the same directory: whether one or both are taken is open, but each has its end.
    device.wait_for(lambda: sum(1 for story in device.told() if story == (60, 5)) == 2, 20, "both ends of tar")
    for name in device.records():
        directory = f"/srv/fwupdate/{name}"
        check = f"cd {directory} && md5sum --quiet -c linuximage.md5 root.ubi.md5"
        assert device.exec(["sh", "-c", check]).returncode == 0

    before = len(device.told())
    device.upload(make_package())
    device.wait_for(lambda: device.told()[before:] == TAKEN, 20, "the next package to be taken")
