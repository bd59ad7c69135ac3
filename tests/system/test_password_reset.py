"""Resetting the web password: the real gpg, with keys and a keyring made on the device."""

import threading

import pytest
from busclient import BusClient
from insidetools import daemon_children, shadow, shell, start_shadowed

NAME = "node-4711"
MAC = "00:11:22:33:44:55"
STORE = "/etc/guiLevel3"
OTHER_STORES = ("/etc/guiLevel1", "/etc/guiLevel2", "/etc/guiSystem")
FILE = "/tmp/reset.asc"
GOOD = f"hostname={NAME}\nmac={MAC}\n"

# The maker's keys, and a keyring of the daemon's that knows them; a stranger's is not in it.
MAKE_KEYS = """
umask 077
make() { # HOME NAME [OPTION...]
    home=/opt/keys/$1 name=$2; shift 2
    mkdir -p $home
    gpg --homedir $home --batch --quiet "$@" --passphrase '' --quick-gen-key $name ed25519 sign ${expire:-never}
}
make maker maker
make stranger stranger
expire=1d make expired expired --faked-system-time 20200101T000000
for home in maker expired; do gpg --homedir /opt/keys/$home --export | gpg --batch --quiet --import; done
"""
SIGN = "gpg --homedir /opt/keys/{0} --batch --yes --quiet {1} --clear-sign"


@pytest.fixture(scope="module")
def module_device(module_device):
    """A device that trusts the maker's key."""
    shell(module_device, MAKE_KEYS, stderr=None)
    return module_device


@pytest.fixture(autouse=True)
def as_new(request):
    if "device" in request.fixturenames:
        device, client = request.getfixturevalue("device"), request.getfixturevalue("client")
        client.call("/system/guiLevel3", "syncSet", "pw", "secret")
        shell(device, f"rm -rf {FILE}*")


def sign(device, text, key="maker", options=""):
    """The text with a signature around it."""
    command = ["sh", "-c", SIGN.format(key, options)]
    return device.exec(command, input=text.encode(), text=False, check=True).stdout.decode()


def events(device):
    return [
        (line["call"].removeprefix("SystemEvent."), line["args"])
        for line in device.platform_log()
        if line["call"].startswith("SystemEvent.pwReset")
    ]


def reset(device, client, text, path=FILE):
    """The answer and the one event that the file leads to."""
    device.write(path, text)
    return reset_with(device, client, path)


def reset_with(device, client, path):
    before = len(events(device))
    answer = client.call("/system", "resetWebPassword", path)
    told = events(device)[before:]
    assert [args for _, args in told] == [["/"]]
    return bool(answer), told[0][0]


def stored_password(device):
    return next(line for line in device.read(STORE).splitlines() if line.startswith("pw="))


def assert_refused(device, client, text, event):
    assert reset(device, client, text) == (False, event)
    assert stored_password(device) == "pw=secret"
    assert client.call("/system/guiLevel3", "get", "pw") == "secret"
    assert device.exists(FILE)


def assert_taken(device, client, text):
    assert reset(device, client, text) == (True, "pwResetSuccessful")
    assert stored_password(device) == "pw="
    assert not device.exists(FILE)


# What leads to a reset


def test_a_file_for_this_device_empties_the_password(device, client):
    others = [device.read(store) for store in OTHER_STORES]
    before = device.read(STORE)

    assert_taken(device, client, sign(device, GOOD))

    assert device.read(STORE) == before.replace("pw=secret\n", "pw=\n")
    assert [device.read(store) for store in OTHER_STORES] == others
    assert client.call("/system/guiLevel3", "get", "pw") == ""


@pytest.mark.parametrize(
    "text",
    [
        f"about this file\n\nhostname={NAME}\n\nserial=12\nmac={MAC}\nmore\n",
        f"hostname=another\nhostname={NAME}\nmac={MAC}\nmac=another\nhostname=another\n",
        f"hostname=  {NAME} \t\nmac=\t{MAC}\n",
        f"hostname={NAME}\r\nmac={MAC}\r\n",
        f" mac=another\nMAC=another\nhostname={NAME}\nmac={MAC}\n",
        f"hostname={NAME}\nmac={MAC}",
        "x" * 1_000_000 + "\n" + GOOD,
        "x" * 256 + f"hostname={NAME}\n" + "x" * 256 + f"mac={MAC}\n",
    ],
    ids=["other lines", "several", "blanks", "cr lf", "not at the start", "no line end", "a long line", "pieces"],
)
def test_lines_may_stand_anywhere(device, client, text):
    assert_taken(device, client, sign(device, text))


def test_unsigned_lines_around_the_signed_text_count_too(device, client):
    text = sign(device, "nothing of interest\n")

    assert_taken(device, client, GOOD + text)


def test_a_copy_of_the_file_works_again(device, client):
    text = sign(device, GOOD)

    for _ in range(2):
        client.call("/system/guiLevel3", "syncSet", "pw", "secret")
        assert_taken(device, client, text)


def test_a_file_with_line_ends_of_another_system_is_taken(device, client):
    text = sign(device, GOOD)

    assert_taken(device, client, text.replace("\n", "\r\n"))


def test_a_key_that_has_expired_still_counts_for_gpg(device, client):
    assert_taken(device, client, sign(device, GOOD, "expired", "--faked-system-time 20200101T010000"))


def test_the_path_may_hold_anything(device, client):
    path = "/tmp/reset of\n'node' \"4711\" $(reboot) ä.asc"

    assert reset(device, client, sign(device, GOOD), path) == (True, "pwResetSuccessful")
    assert not device.exists(path)


# What does not


@pytest.mark.parametrize(
    "text",
    [
        "",
        "nothing\n",
        f"hostname={NAME}\n",
        f"mac={MAC}\n",
        f"hostname=\nmac={MAC}\n",
        f"hostname= \t\nmac={MAC}\n",
        f"hostname={NAME}\nmac=\n",
        f"mac={MAC}\nhostname={NAME}\n",
        f" hostname={NAME}\n mac={MAC}\n",
        f"Hostname={NAME}\nMac={MAC}\n",
        "x" * 255 + f"hostname={NAME}\nmac={MAC}\n",
    ],
)
def test_a_file_without_both_values_is_refused(device, client, text):
    assert_refused(device, client, sign(device, text), "pwResetFormatError")


@pytest.mark.parametrize("name", ["another", NAME.upper(), NAME + ".local", NAME[:-1], "x" * 300])
def test_a_file_for_another_host_is_refused(device, client, name):
    assert_refused(device, client, sign(device, f"hostname={name}\nmac=another\n"), "pwResetHostnameError")


@pytest.mark.parametrize("mac", ["00:11:22:33:44:56", "00-11-22-33-44-55", MAC[:-1], MAC + "0", f'"{MAC}"', "x"])
def test_a_file_for_another_ethernet_address_is_refused(device, client, mac):
    assert_refused(device, client, sign(device, f"hostname={NAME}\nmac={mac}\n"), "pwResetMacError")


def test_the_address_is_compared_with_its_case(device, client):
    config = "/loader/config"
    client.call(config, "set", "eth0.ethaddr", "00:aa:BB:33:44:55")
    try:
        for mac in ("00:AA:BB:33:44:55", "00:aa:bb:33:44:55"):
            assert_refused(device, client, sign(device, f"hostname={NAME}\nmac={mac}\n"), "pwResetMacError")
        assert_taken(device, client, sign(device, f"hostname={NAME}\nmac=00:aa:BB:33:44:55\n"))
    finally:
        client.call(config, "set", "eth0.ethaddr", MAC)


def test_a_device_without_an_address_refuses_every_file(device, client):
    client.call("/loader/config", "set", "eth0.ethaddr", "")
    try:
        assert_refused(device, client, sign(device, GOOD), "pwResetMacError")
    finally:
        client.call("/loader/config", "set", "eth0.ethaddr", MAC)


def test_the_host_name_is_the_one_that_the_daemon_knows(device, client):
    text = sign(device, "hostname=other\nmac=" + MAC + "\n")
    client.set("/system", "local.System", "hostname", "other")
    try:
        assert_taken(device, client, text)
    finally:
        client.set("/system", "local.System", "hostname", NAME)


def test_what_gpg_does_not_accept_is_refused(device, client):
    good = sign(device, GOOD)
    for text in (
        GOOD,  # no signature
        "",
        good.replace(NAME, "another"),  # changed afterwards
        good.replace("hostname", " hostname"),
        good[: len(good) // 2],
        good[:-60],
        sign(device, GOOD, "stranger"),
        "\0" * 1000,
    ):
        assert_refused(device, client, text, "pwResetVerifyFailed")


def test_a_binary_signature_over_other_data_does_not_count(device, client):
    device.write("/tmp/text", GOOD)
    detach = "gpg --homedir /opt/keys/maker --batch --yes -o /tmp/text.asc --armor --detach-sign /tmp/text"
    shell(device, detach)

    # gpg finds the data beside the signature and accepts it; the values are looked for in the file that was named.
    assert reset_with(device, client, "/tmp/text.asc") == (False, "pwResetFormatError")
    assert reset_with(device, client, "/tmp/text") == (False, "pwResetVerifyFailed")


@pytest.mark.parametrize("path", ["/tmp/missing", "", "-", "--version", "--help", "/dev/zero", "/dev/tty", "/", "/tmp"])
def test_what_is_no_reset_file_is_refused(device, client, path):
    answer, event = reset_with(device, client, path)

    assert (answer, event) == (False, "pwResetVerifyFailed")
    assert stored_password(device) == "pw=secret"


def test_a_fifo_that_nobody_writes_is_not_waited_for(device, client):
    shell(device, f"mkfifo {FILE}")

    assert reset_with(device, client, FILE) == (False, "pwResetVerifyFailed")

    assert device.exists(FILE)
    assert daemon_children(device) == []


def test_a_path_of_a_megabyte_is_refused(device, client):
    assert reset_with(device, client, "/tmp/" + "x" * 1_000_000) == (False, "pwResetVerifyFailed")


def test_failures_lock_nothing(device, client):
    for _ in range(20):
        assert_refused(device, client, GOOD, "pwResetVerifyFailed")

    assert_taken(device, client, sign(device, GOOD))


# A gpg of ours


@pytest.fixture
def shadowed(new_device):
    """A device whose gpg is ours: what it does is asked of the test."""

    def start(script):
        new_device.start(daemon=False)
        shadow(new_device, "gpg", script)
        start_shadowed(new_device)
        return new_device

    return start


def test_a_file_that_is_gone_after_the_check_is_a_file_error(shadowed):
    device = shadowed('rm "$2"')

    with BusClient(device) as client:
        assert reset(device, client, GOOD) == (False, "pwResetFileError")


def test_a_file_that_becomes_a_fifo_after_the_check_is_a_file_error(shadowed):
    device = shadowed('rm "$2"; mkfifo "$2"')

    with BusClient(device) as client:
        assert reset(device, client, GOOD) == (False, "pwResetFileError")


def test_gpg_is_called_with_the_file_alone(shadowed):
    device = shadowed('for word; do echo "[$word]"; done >/run/gpg-call; cat >/run/gpg-input; exit 1')

    with BusClient(device) as client:
        assert reset(device, client, GOOD) == (False, "pwResetVerifyFailed")

    assert device.read("/run/gpg-call") == f"[--verify]\n[{FILE}]\n"
    assert device.read("/run/gpg-input") == ""


def test_a_talkative_gpg_fills_no_pipe(shadowed):
    device = shadowed("head -c 3000000 /dev/zero | tr '\\0' x; head -c 3000000 /dev/zero | tr '\\0' x >&2")

    with BusClient(device) as client:
        assert reset(device, client, GOOD) == (True, "pwResetSuccessful")


@pytest.mark.parametrize("end", ["exit 1", "exit 2", "exit 255", "kill -SEGV $$", "kill -KILL $$"])
def test_gpg_has_to_end_well(shadowed, end):
    device = shadowed(end)

    with BusClient(device) as client:
        assert reset(device, client, GOOD) == (False, "pwResetVerifyFailed")


def test_the_service_stands_still_while_gpg_runs_and_goes_on_afterwards(shadowed):
    device = shadowed("touch /run/gpg-runs; while ! [ -e /run/gpg-go ]; do sleep 0.05; done")
    device.write(FILE, GOOD)
    answers = []

    def call():
        with BusClient(device) as caller:
            answers.append(caller.call("/system", "resetWebPassword", FILE))

    caller = threading.Thread(target=call)
    caller.start()
    device.wait_for(lambda: device.exists("/run/gpg-runs"), what="gpg to run")
    with BusClient(device) as client:
        assert client.error_of("/system", "getPwDisable", limit=1) == "NoReply"
        device.write("/run/gpg-go", "")
        assert client.call("/system", "getPwDisable") == 0
    caller.join()
    assert answers == [True]
