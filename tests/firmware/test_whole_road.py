"""A device with settings of its own takes a package, updates, and is afterwards what it was, on the new firmware."""

import pytest
from firmwaredevice import MANAGER
from insidetools import addresses
from interfacesfile import DHCP_STANZA, interfaces_file
from roaddevice import INTERFACES, LINK, PLC_CONFIGURATION, PUBLIC, START_UPDATE, RoadDevice


@pytest.fixture
def device_class():
    return RoadDevice


@pytest.fixture
def package(make_package, tmp_path):
    for name, content in PUBLIC.items():
        (tmp_path / "public" / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / "public" / name).write_text(content)
    return make_package("--version", "4.3", "--public", tmp_path / "public")


@pytest.fixture
def settled(new_device):
    """A device with all settings of its own."""
    new_device.start(network=True)
    new_device.settle()
    return new_device


def assert_is_as_before(device, before):
    device.wait_for(lambda: addresses(device) == before.addresses, 20, "the address")
    assert device.settings() == before
    assert device.is_ordinary()
    assert device.left_in_store() == []
    assert "update" not in device.flash


def test_everything_that_was_set_is_as_before_on_the_new_firmware(settled: RoadDevice, package):
    device = settled
    before = device.settings()
    assert before.plc_applications == ["Main", "Visu"]
    device.take_in(package)

    device.exec(START_UPDATE, check=True)
    device.wait_boots(3)

    assert device.version() == "4.3"
    assert_is_as_before(device, before)
    assert device.read(LINK) == "of the new firmware\n"
    assert device.link_count(LINK) == 2, "it shares its data with the firmware directory"
    assert device.read("/srv/public/app/index.html") == "<p>\n"
    assert device.read("/srv/public/docs/readme.txt") == "the owner's\n", "what is there stays"
    assert device.read("/srv/public/own.txt") == "the owner's\n"

    told = len(device.reboots_told())
    device.power_cycle()

    assert device.version() == "4.3"
    assert_is_as_before(device, before)
    assert device.boots == 1 and len(device.reboots_told()) == told, "a third start is an ordinary one"


def test_started_before_the_partition_is_mounted_waits_for_it_and_loses_the_interfaces_file(
    settled: RoadDevice, package
):
    """The reboot follows the restore at once and saves the port's settings as they were read before it, a lease. So the
    file tells of DHCP and connman loses the name server; the address stays, which connman has been given."""
    device = settled
    before = device.settings()
    device.take_in(package)
    update_without_partition(device)
    device.wait_boots(2)
    assert device.version() == "4.3"
    assert not device.exists("/etc/ssh/ssh_host_rsa_key")
    device.emit_started()

    device.tell_udev("add")
    device.mount_srv()

    device.wait_boots(3)
    device.mount_srv()
    mode, _, _ = before.files[INTERFACES].partition("\n")
    before.files[INTERFACES] = f"{mode}\n{interfaces_file(DHCP_STANZA)}"
    assert_is_as_before(device, before)


def test_started_after_the_partition_was_mounted_reboots_then(settled: RoadDevice, package):
    device = settled
    before = device.settings()
    device.take_in(package)
    update_without_partition(device)
    device.wait_boots(2)
    device.tell_udev("add")
    device.mount_srv()
    device.wait_for(lambda: device.get(*MANAGER, "fwUpdated"), 20, "the restore")
    assert device.get(*MANAGER, "updateFailed") is True
    assert device.boots == 2

    device.emit_started()

    device.wait_boots(3)
    device.mount_srv()
    assert_is_as_before(device, before)


def update_without_partition(device):
    """Starts the update of a device whose partition and system manager come late at its later boots."""
    device.at_next_boot(srv=False, started=False)
    device.exec(START_UPDATE, check=True)


def test_a_factory_initialisation_on_the_way_ends_as_well(settled: RoadDevice, package):
    device = settled
    before = device.settings()
    device.take_in(package)
    device.call(*MANAGER, "addConfig", "s", "factory_init")

    device.exec(START_UPDATE, check=True)
    device.wait_boots(3)

    assert device.version() == "4.3"
    assert_is_as_before(device, before)
    assert "factory_init" not in device.flash


def test_a_package_that_is_only_kept_changes_nothing_until_it_is_started(settled: RoadDevice, package):
    device = settled
    before = device.settings()
    device.take_in(package)
    assert device.settings() == before
    assert (device.version(), device.boots) == ("4.2.0", 1)

    device.power_cycle()
    device.wait_for(lambda: device.listed() == ["fwupdate0"], 20, "the scan")
    assert (device.version(), device.boots) == ("4.2.0", 1)
    device.exec(START_UPDATE, check=True)

    device.wait_boots(3)
    assert device.version() == "4.3"
    assert_is_as_before(device, before)


def test_a_package_that_is_not_only_kept_goes_the_whole_road_alone(settled: RoadDevice, package):
    device = settled
    before = device.settings()

    device.upload(package)

    device.wait_boots(3)
    assert device.version() == "4.3"
    assert_is_as_before(device, before)


def test_without_a_plc_runtime_the_default_application_is_entered(settled: RoadDevice, package):
    device = settled
    device.write("/var/lib/plcruntime/version", "error\n")
    device.write("/srv/codesys/Application.app", "")
    device.take_in(package)

    device.exec(START_UPDATE, check=True)
    device.wait_boots(3)

    assert "Bootproject.RetainMismatch.Init=1\nApplication.1=Application\n" in device.read(PLC_CONFIGURATION)
