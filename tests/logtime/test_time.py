"""The device's clocks: what they tell, how they are set, and that the machine's clock stays out of it."""

import calendar
import datetime
import json
import re
import time

import dbus
import pytest
from busclient import BusClient
from insidetools import shell

TIME = "/system/time"
INTERFACE = "local.Systemtime"
WRITTEN = ["hwclock", "-w", "-u"]
WHEN = 1_234_567_890  # 2009-02-13 23:31:30 UTC
TOLERANCE = 120  # seconds that a machine with much else to do may take over the work of a moment


def ask(client, method):
    return client.call(TIME, method)


def set_to(client, method, seconds):
    client.call(TIME, method, dbus.UInt64(seconds), signature="t")


def set_zone(client, zone):
    client.set(TIME, INTERFACE, "timezone", zone)


def now():
    """The seconds that the daemon's clock shows at least; it is a kernel's tick behind ours."""
    return int(time.time() - 0.1)


def soon_after(start, seconds):
    return start <= seconds <= start + TOLERANCE


def hardware_time(device):
    """In seconds since 1970, as its tool tells it."""
    text = device.exec(["hwclock", "-r", "-u"], check=True).stdout.strip()
    return datetime.datetime.fromisoformat(text).timestamp()


@pytest.fixture(autouse=True)
def machine_clock_stays():
    drift = time.time() - time.monotonic()
    yield
    assert abs(time.time() - time.monotonic() - drift) < TOLERANCE


# Reading


def test_utc_is_the_kernels_clock(device, client):
    assert soon_after(now(), ask(client, "getSystemTimeUtc"))


@pytest.mark.parametrize(
    "zone, offset", [("UTC", 0), ("Etc/GMT-3", 10800), ("Etc/GMT+3", -10800), ("Asia/Kolkata", 19800)]
)
def test_local_time_is_ahead_by_the_offset_of_the_zone(device, client, zone, offset):
    set_zone(client, zone)

    assert soon_after(ask(client, "getSystemTimeUtc"), ask(client, "getSystemTime") - offset)
    assert soon_after(now(), json.loads(ask(client, "jsonTimeinfo"))["currenttime"] - offset)


def test_local_time_is_what_the_tools_of_the_device_say(device, client):
    set_zone(client, "Europe/Berlin")

    wall = shell(device, "date '+%Y-%m-%d %H:%M:%S'").strip()

    told = ask(client, "getSystemTime")
    assert soon_after(calendar.timegm(time.strptime(wall, "%Y-%m-%d %H:%M:%S")), told)


def test_the_text_is_that_of_date_with_its_line_end(device, client):
    def without_time(text):
        return re.sub(r"\d+:\d+:\d+", "", text)

    text = ask(client, "getSytemTimeAsText")

    assert re.search(r"\d+:\d+:\d+", text) and text.endswith("\n")
    assert without_time(text) == without_time(shell(device, "date"))


def test_the_hardware_clock_is_read_by_its_tool(device, client):
    text = ask(client, "getHwTimeAsText")

    assert text.endswith("\n")
    assert soon_after(now(), int(datetime.datetime.fromisoformat(text.strip()).timestamp()))
    assert device.tool_log("hwclock")[-1] == ["hwclock", "-r", "-u"]


def test_timeinfo_holds_the_kernels_numbers(device, client):
    before = [float(number) for number in device.read("/proc/uptime").split()]

    text = ask(client, "jsonTimeinfo")

    assert re.fullmatch(r'\{"uptime":\d+\.\d\d,"idletime":\d+\.\d\d,"currenttime":\d+\}', text)
    values = json.loads(text)
    assert before[0] <= values["uptime"] <= before[0] + TOLERANCE
    assert before[1] <= values["idletime"]


# Setting


def test_utc_that_was_set_is_told_and_is_in_the_hardware_clock(own_device, own_client):
    set_zone(own_client, "Asia/Kolkata")

    set_to(own_client, "setSystemTimeUtc", WHEN)

    assert own_device.tool_log("hwclock") == [WRITTEN]
    assert soon_after(WHEN, ask(own_client, "getSystemTimeUtc"))
    assert soon_after(WHEN + 19800, ask(own_client, "getSystemTime"))
    assert soon_after(WHEN, hardware_time(own_device))
    assert ask(own_client, "getSytemTimeAsText").strip().endswith("2009")


def test_local_time_that_was_set_is_told(own_device, own_client):
    set_zone(own_client, "Asia/Kolkata")

    set_to(own_client, "setSystemTime", WHEN)

    assert own_device.tool_log("hwclock") == [WRITTEN]
    assert soon_after(WHEN, ask(own_client, "getSystemTime"))
    assert soon_after(WHEN - 19800, hardware_time(own_device))


def test_a_time_beyond_a_change_of_daylight_saving_lands_an_hour_off(own_device, own_client):
    set_zone(own_client, "Europe/Berlin")
    set_to(own_client, "setSystemTimeUtc", 1_768_478_400)  # a day in January

    set_to(own_client, "setSystemTime", 1_784_116_800)  # one in July

    assert soon_after(1_784_116_800 + 3600, ask(own_client, "getSystemTime"))


def test_of_a_large_argument_the_low_bits_count(own_device, own_client):
    set_to(own_client, "setSystemTimeUtc", (7 << 32) + WHEN)

    assert soon_after(WHEN, ask(own_client, "getSystemTimeUtc"))


@pytest.mark.parametrize("seconds", [2**31, 2**32 - 1, 2**64 - 1])
def test_a_time_below_zero_is_refused_and_the_hardware_clock_written(own_device, own_client, seconds):
    set_to(own_client, "setSystemTimeUtc", seconds)

    assert own_device.tool_log("hwclock") == [WRITTEN]
    assert soon_after(now(), ask(own_client, "getSystemTimeUtc"))


def test_a_device_that_may_not_set_the_clock_keeps_it(own_device, own_client):
    own_device.stop_daemon()
    own_device.start_daemon(env={"LD_PRELOAD": ""})

    set_to(own_client, "setSystemTimeUtc", WHEN)
    set_to(own_client, "setSystemTime", WHEN)

    assert own_device.tool_log("hwclock") == [WRITTEN, WRITTEN]
    assert soon_after(now(), ask(own_client, "getSystemTimeUtc"))


# Between the clocks


def test_the_system_time_comes_from_the_hardware_clock_on_a_call(own_device, own_client):
    set_to(own_client, "setSystemTimeUtc", WHEN)
    shell(own_device, "rm /run/device-clock")
    assert soon_after(now(), ask(own_client, "getSystemTimeUtc"))

    own_client.call(TIME, "hwClockToSystemTime")

    assert own_device.tool_log("hwclock") == [WRITTEN, ["hwclock", "-s", "-u"]]
    assert soon_after(WHEN, ask(own_client, "getSystemTimeUtc"))


def test_the_system_time_goes_to_the_hardware_clock_on_a_call(own_device, own_client):
    shell(own_device, f"date -u -s @{WHEN}")

    own_client.call(TIME, "systemTimeToHwClock")

    assert own_device.tool_log("hwclock") == [WRITTEN]
    assert soon_after(WHEN, hardware_time(own_device))


def test_a_start_transfers_nothing_and_the_hardware_clock_goes_on(own_device, own_client):
    set_to(own_client, "setSystemTimeUtc", WHEN)

    own_device.power_cycle()

    assert own_device.tool_log("hwclock") == [WRITTEN]
    assert soon_after(WHEN, hardware_time(own_device))


# Obstacles


def test_a_tool_that_fails_or_is_missing_gives_no_text(own_device, own_client):
    own_device.write("/usr/sbin/hwclock", "#!/bin/sh\nexit 1\n", mode="755")
    assert ask(own_client, "getHwTimeAsText") == ""

    shell(own_device, "rm /usr/sbin/hwclock /bin/date")

    assert ask(own_client, "getHwTimeAsText") == ""
    assert ask(own_client, "getSytemTimeAsText") == ""
    own_client.call(TIME, "systemTimeToHwClock")
    own_client.call(TIME, "hwClockToSystemTime")
    set_to(own_client, "setSystemTimeUtc", WHEN)
    assert soon_after(WHEN, ask(own_client, "getSystemTimeUtc"))


def test_everybody_waits_for_a_tool_that_hangs(own_device, own_client):
    own_device.write("/usr/sbin/hwclock", "#!/bin/sh\nread line </run/go\n", mode="755")
    shell(own_device, "mkfifo /run/go")
    own_client.send(TIME, "systemTimeToHwClock")

    with BusClient(own_device) as other:
        assert other.error_of(TIME, "getSystemTimeUtc", limit=1) == "NoReply"
    shell(own_device, "echo >/run/go")

    assert soon_after(now(), ask(own_client, "getSystemTimeUtc"))
