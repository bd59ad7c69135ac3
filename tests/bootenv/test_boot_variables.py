"""Variables of the boot environment as clients read and change them."""

import pytest
from busclient import BusClient

CONFIG = """#!/bin/sh
# network

ip=dhcp
eth0.ipaddr=192.168.10.71
junk
 #x=1
=value
a==b
empty=
spaced = 1\x20
quoted="1.2"
half="a
lone="
twice=first
inner="a "b" c"
  blanks  =  " in quotes "\x20\x20
twice=last
nameé=größe
#tail   \x20
"""

VALUES = {
    "ip": "dhcp",
    "eth0.ipaddr": "192.168.10.71",
    "#x": "1",
    "a": "=b",
    "empty": "",
    "spaced": "1",
    "quoted": '"1.2"',
    "half": '"a',
    "lone": '"',
    "twice": "last",
    "inner": '"a "b" c"',
    "blanks": '" in quotes "',
    "nameé": "größe",
}

TRIMMED = {**VALUES, "quoted": "1.2", "lone": "", "inner": 'a "b" c', "blanks": " in quotes "}

SAVED = """#!/bin/sh
# network
ip=dhcp
eth0.ipaddr=192.168.10.71
#x=1
a==b
empty=
spaced=1
quoted="1.2"
half="a
lone="
twice=last
inner="a "b" c"
blanks=" in quotes "
nameé=größe
#tail
"""

SYSTEM = '#!/bin/sh\nserial="4711"\n'


@pytest.fixture
def loaded(new_device):
    """A client of a device with the environment above."""
    new_device.flash = {"config": CONFIG, "system": SYSTEM}
    new_device.start()
    with BusClient(new_device) as client:
        yield client


def test_every_file_of_the_flash_becomes_an_object(loaded):
    assert loaded.children("/loader") == {"config", "system"}


def test_the_store_gives_values_as_they_stand(loaded):
    assert loaded.call("/loader/config", "getAll") == VALUES
    assert {name: loaded.call("/loader/config", "get", name) for name in VALUES} == VALUES


def test_get_trimmed_takes_one_pair_of_quotes_away(loaded):
    assert {name: loaded.call("/loader/config", "getTrimmed", name) for name in VALUES} == TRIMMED


def test_the_loader_reads_without_quotes(loaded):
    assert {name: loaded.call("/loader", "getEnv", name) for name in VALUES} == TRIMMED


def test_the_variable_list_names_each_variable_once(loaded):
    assert sorted(loaded.call("/loader/config", "variableList")) == sorted(VALUES)


@pytest.mark.parametrize("name", ["junk", "value", "", "#!/bin/sh", "# network", "blanks  ", "IP"])
def test_what_is_no_variable_does_not_exist(loaded, name):
    assert not loaded.call("/loader/config", "exists", name)
    assert loaded.call("/loader/config", "get", name) == ""
    assert loaded.call("/loader/config", "getTrimmed", name) == ""


def test_a_variable_without_a_value_exists(loaded):
    assert loaded.call("/loader/config", "exists", "empty")


def test_a_save_keeps_the_order_and_the_comments(new_device, loaded):
    loaded.call("/loader", "saveEnv")

    assert new_device.flash == {"config": SAVED, "system": SYSTEM}


def test_a_changed_variable_keeps_its_place_and_a_new_one_goes_last(new_device, loaded):
    loaded.call("/loader/config", "set", "ip", "none")
    loaded.call("/loader/config", "set", "new", "1")
    loaded.call("/loader", "saveEnv")

    assert new_device.flash["config"] == SAVED.replace("ip=dhcp", "ip=none") + "new=1\n"


def test_outer_blanks_of_a_value_are_kept_until_the_save(new_device, loaded):
    loaded.call("/loader/system", "set", "name", " value \t")

    loaded.call("/loader/system", "save")

    assert loaded.call("/loader/system", "get", "name") == " value \t"
    assert loaded.call("/loader/system", "getTrimmed", "name") == "value"
    assert new_device.read("/run/bareboxenv/system") == SYSTEM + "name= value\n"


def test_a_value_with_a_line_feed_reads_back_as_two_lines(new_device, loaded):
    loaded.call("/loader/system", "set", "name", "one\ntwo=2")
    loaded.call("/loader", "saveEnv")

    new_device.power_cycle()

    with BusClient(new_device) as client:
        assert client.call("/loader/system", "getAll") == {"serial": '"4711"', "name": "one", "two": "2"}


def test_the_empty_name_keeps_its_first_value(loaded):
    loaded.call("/loader/system", "set", "", "first")
    loaded.call("/loader/system", "set", "", "second")

    assert loaded.call("/loader/system", "get", "") == "first"


def test_sync_set_writes_the_file_at_once_but_not_the_flash(new_device, loaded):
    loaded.call("/loader/system", "syncSet", "article", "QMZ")

    assert new_device.read("/run/bareboxenv/system") == SYSTEM + "article=QMZ\n"
    assert new_device.flash["system"] == SYSTEM


def test_set_changes_memory_only(new_device, loaded):
    loaded.call("/loader/system", "set", "serial", "4712")

    assert loaded.call("/loader/system", "get", "serial") == "4712"
    assert new_device.read("/run/bareboxenv/system") == SYSTEM


def test_an_environment_of_ten_thousand_lines_keeps_them_all(new_device):
    lines = "".join(f"v{number}={number}\n" if number % 2 else f"# {number}\n" for number in range(10_000))
    new_device.flash = {"config": lines}
    new_device.start()

    with BusClient(new_device) as client:
        assert len(client.call("/loader/config", "getAll")) == 5000
        client.call("/loader", "setEnv", "v1", "one")
        client.call("/loader", "saveEnv")

    assert new_device.flash["config"] == lines.replace("v1=1\n", "v1=one\n")


@pytest.mark.parametrize("character", ["x", "\u4e2d"])
def test_a_store_that_is_full_is_still_told_in_one_answer(loaded, character):
    part = character * (10_000_000 // len(character.encode()))
    for number in range(5):
        loaded.call("/loader/config", "set", f"part{number}", part)
    for number in range(2000):
        loaded.send("/loader/config", "set", f"small{number}", part[:1000])

    told = loaded.call("/loader/config", "getAll")

    assert "part2" in told and "part3" not in told
    assert loaded.call("/loader/config", "get", "ip") == "dhcp"
