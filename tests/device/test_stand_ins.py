"""The programs that stand for what a PC does not have."""

import datetime
import json
import os
import subprocess
import time

import pytest
import simdevice

import flashimage

FLASH = "/dev/mtdblock1"
JOB = "/com/ubuntu/Upstart/jobs/"


@pytest.fixture
def device(make_device):
    device = make_device()
    device.start(daemon=False)
    return device


def call_job(device, job, method, wait, *env):
    call = ["dbus-send", "--system", "--print-reply", "--dest=com.ubuntu.Upstart", JOB + job]
    variables = ",".join(env)
    arguments = [f"com.ubuntu.Upstart0_6.Job.{method}", f"array:string:{variables}", f"boolean:{str(wait).lower()}"]
    return device.exec([*call, *arguments])


def test_a_new_device_has_a_boot_environment(device):
    assert device.exec(["bareboxenv", "-l", "/tmp/env", FLASH]).returncode == 0

    assert device.exec(["ls", "/tmp/env"]).stdout.split() == ["boot", "config", "system"]
    assert "eth0.ethaddr=" in device.read("/tmp/env/config")
    assert device.read("/tmp/env/config") == device.flash["config"]


def test_an_environment_comes_back_as_it_was_stored(device):
    device.write("/tmp/env/config", "a=1\n")
    device.write("/tmp/env/bin/init", b"\x00\xff")
    device.write("/tmp/env/empty", "")
    device.exec(["mkfifo", "/tmp/env/pipe"], check=True)

    device.exec(["flash_eraseall", FLASH], check=True)
    device.exec(["bareboxenv", "-s", "/tmp/env", FLASH], check=True)
    device.exec(["bareboxenv", "-l", "/tmp/back", FLASH], check=True)

    assert device.flash == {"config": "a=1\n", "bin/init": "\x00\udcff", "empty": ""}
    assert device.exec(["ls", "/tmp/back"]).stdout.split() == ["bin", "config", "empty"]
    assert device.read_bytes("/tmp/back/bin/init") == b"\x00\xff"
    assert os.path.getsize(device.state.path("flash")) == flashimage.FLASH_SIZE


def test_an_erased_flash_holds_no_environment(device):
    device.exec(["flash_eraseall", FLASH], check=True)

    result = device.exec(["bareboxenv", "-l", "/tmp/env", FLASH])

    assert result.returncode == 1
    assert "erased" in result.stderr
    assert device.read_bytes(FLASH) == b"\xff" * flashimage.FLASH_SIZE


@pytest.mark.parametrize("place", [0, 10, 20, 60, 600])
def test_a_damaged_environment_is_refused(device, place):
    path = device.state.path("flash")
    with open(path, "r+b") as flash:
        flash.seek(place)
        byte = flash.read(1)[0]
        flash.seek(place)
        flash.write(bytes([byte ^ 1]))

    result = device.exec(["bareboxenv", "-l", "/tmp/env", FLASH])

    assert result.returncode == 1
    assert FLASH in result.stderr and len(result.stderr.splitlines()) == 1
    assert not device.exists("/tmp/env")
    with pytest.raises(flashimage.DamagedImage):
        assert device.flash


def test_an_environment_that_is_too_large_is_refused_and_the_flash_kept(device):
    before = device.flash
    device.write("/tmp/env/large", "x" * flashimage.FLASH_SIZE)

    result = device.exec(["bareboxenv", "-s", "/tmp/env", FLASH])

    assert result.returncode == 1
    assert device.flash == before


@pytest.mark.parametrize(
    "command",
    [
        ["bareboxenv", "-l", "/tmp/env"],
        ["bareboxenv", "-x", "/tmp/env", FLASH],
        ["bareboxenv", "-s", "/nothing", FLASH],
        ["bareboxenv", "-l", "/tmp/env", "/dev/nothing"],
        ["flash_eraseall"],
        ["flash_eraseall", "/dev/nothing"],
        ["shutdown", "-r", "later"],
        ["hwclock", "-r"],
        ["hwclock", "-s", "-u"],  # without the right to set the clock
        ["ifup", "eth0"],
        ["ifup", "can0"],  # without settings
        ["ifdown"],
        ["ifconfig", "can0", "up"],
        ["canconfig", "can1"],
        ["canconfig", "can0"],  # before the port was up
    ],
)
def test_a_wrong_call_fails_with_one_line(device, command):
    result = device.exec(command)

    assert result.returncode == 1
    assert len(result.stderr.splitlines()) == 1
    assert not device.exists("/dev/nothing")


STAND_INS = ["bareboxenv", "flash_eraseall", "shutdown", "hwclock", "ifup", "ifdown", "ifconfig", "canconfig"]


@pytest.mark.parametrize("program", STAND_INS)
def test_a_stand_in_refuses_a_real_machine(program, tmp_path):
    path = os.path.join(simdevice.PROJECT, "device/rootfs/usr/sbin", program)
    flash = tmp_path / "flash"
    flash.write_bytes(b"as it was")
    arguments = {"bareboxenv": ["-s", tmp_path, flash], "flash_eraseall": [flash], "shutdown": ["-r", "now"]}

    result = subprocess.run([path, *arguments.get(program, ["can0"])], capture_output=True, text=True)

    assert result.returncode == 1
    assert "refusing to run on a real machine" in result.stderr
    assert flash.read_bytes() == b"as it was"


def test_each_service_has_a_process_of_its_own(device):
    names = ["plcruntime", "standins", "upstart", "webserver"]

    def services():
        lines = device.exec(["ps", "-C", ",".join(names), "-o", "ppid=,comm="], check=True).stdout.splitlines()
        return sorted(" ".join(line.split()) for line in lines)

    device.wait_for(lambda: services() == ["1 plcruntime", "1 upstart", "1 webserver"], what="all of them alone")


def test_a_service_that_does_not_come_up_fails_the_start_and_is_named(make_device):
    device = make_device()
    module = "def main(tell_ready):\n    raise OSError('no luck')\n"
    device.write("/usr/lib/nodekeep-device/standins/upstart.py", module)

    with pytest.raises(simdevice.DeviceError, match="words are in the log standins.log"):
        device.start(daemon=False)

    assert device.host_log("standins.log") == "upstart did not come up, its words are in the log upstart.log\n"
    assert device.host_log("upstart.log").endswith("OSError: no luck\n")


def test_the_calls_of_any_job_are_recorded_in_order(device):
    assert call_job(device, "avahi_2ddaemon", "Stop", True).returncode == 0
    assert call_job(device, "avahi_2ddaemon", "Start", False, "A=1", "B=2").returncode == 0
    assert call_job(device, "another", "Start", True).returncode == 0
    assert call_job(device, "third", "Restart", False).returncode == 0

    calls = [(entry["job"], entry["call"], entry["env"], entry["wait"]) for entry in device.upstart_log()]
    assert calls == [
        ("avahi_2ddaemon", "Stop", [], True),
        ("avahi_2ddaemon", "Start", ["A=1", "B=2"], False),
        ("another", "Start", [], True),
        ("third", "Restart", [], False),
    ]


def test_a_job_of_the_device_runs_and_can_be_waited_for(device):
    script = """#!/bin/sh
[ "$1" = stop ] || until [ -e /tmp/go ]; do sleep 0.01; done
sleep 0.1
echo "$1" >>/tmp/job
"""
    device.write("/etc/init-jobs/ntp", script, mode="755")

    call_job(device, "ntp", "Stop", True)
    assert device.read("/tmp/job") == "stop\n"
    call_job(device, "ntp", "Start", False)
    assert device.read("/tmp/job") == "stop\n"
    device.write("/tmp/go", "")

    device.wait_for(lambda: device.read("/tmp/job") == "stop\nstart\n", what="the job started without waiting")


def about_equal(one, other):
    return abs(one - other) < 120


def hardware_time(device):
    text = device.exec(["hwclock", "-r", "-u"], check=True).stdout
    return datetime.datetime.fromisoformat(text.strip()).timestamp()


def test_the_hardware_clock_goes_on_over_a_power_cut(device):
    assert about_equal(hardware_time(device), time.time())
    device.write("/var/lib/hwclock-offset", "-1000000")

    device.power_cycle()

    assert about_equal(hardware_time(device), time.time() - 1_000_000)
    device.exec(["hwclock", "-w", "-u"], check=True)
    assert about_equal(hardware_time(device), time.time())


def test_the_port_takes_its_settings_from_the_file(device):
    device.write("/etc/network/canconfig", "#!/bin/sh\nBITRATE=125000\nTERMINATION=0\nRESTART=1000\n")

    device.exec(["ifup", "can0"], check=True)
    up = device.exec(["canconfig", "can0"], check=True).stdout
    device.exec(["ifconfig", "can0", "down"], check=True)
    down = device.exec(["canconfig", "can0"], check=True).stdout

    assert up.startswith("can0 bitrate: 125000, sample-point: 0.875\ncan0 state: ERROR-ACTIVE\n")
    assert down.startswith("can0 bitrate: 125000, sample-point: 0.875\ncan0 state: STOPPED\n")


@pytest.mark.parametrize("rate", ["0", "-1", "1000001", "fast", ""])
def test_the_port_refuses_a_rate_that_is_none(device, rate):
    device.write("/etc/network/canconfig", f"BITRATE={rate}\nRESTART=1000\n")

    result = device.exec(["ifup", "can0"])

    assert result.returncode == 1
    assert len(result.stderr.splitlines()) == 1
    assert device.exec(["canconfig", "can0"]).returncode == 1


def test_the_calls_of_the_tools_are_recorded_in_order(device):
    device.exec(["ifdown", "can0"])
    device.exec(["ifconfig", "can0", "down"])
    device.exec(["hwclock", "-r", "-u"])
    device.exec(["ifdown", "can1", "with blank"])

    assert device.tool_log() == [
        ["ifdown", "can0"],
        ["ifconfig", "can0", "down"],
        ["hwclock", "-r", "-u"],
        ["ifdown", "can1", "with blank"],
    ]
    assert device.tool_log("hwclock") == [["hwclock", "-r", "-u"]]


def test_the_log_of_platform_events_is_read_over_its_rotation(device):
    device.write("/var/log/qmz/platform.jsonl.1", json.dumps({"call": "first"}) + "\n")
    device.write("/var/log/qmz/platform.jsonl", json.dumps({"call": "second"}) + '\n{"call": "half')

    assert [entry["call"] for entry in device.platform_log()] == ["first", "second"]


RUNTIME = "com.ozt.codesys"


def ask_runtime(device, method, limit=30):
    return device.exec(["busctl", f"--timeout={limit}", "call", RUNTIME, "/", RUNTIME, method])


def test_the_plc_runtime_answers_what_its_files_say(device):
    assert ask_runtime(device, "apps").stdout == "as 0\n"
    assert ask_runtime(device, "version").stdout == "i 35\n"

    device.write("/var/lib/plcruntime/apps", 'as ["Pump", "Fan control"]\n')
    device.write("/var/lib/plcruntime/version", 's "3.5.14"\n')
    assert ask_runtime(device, "apps").stdout == 'as 2 "Pump" "Fan control"\n'
    assert ask_runtime(device, "version").stdout == 's "3.5.14"\n'

    for line, answer in (("a{si} {}", "a{si} 0\n"), ("as", ""), ("d 3.5", "d 3.5\n")):
        device.write("/var/lib/plcruntime/version", line)
        result = ask_runtime(device, "version")
        assert (result.returncode, result.stdout) == (0, answer)
    assert device.read("/var/log/plcruntime.log").split() == ["apps", "version"] * 2 + ["version"] * 3


def test_the_plc_runtime_fails_or_is_silent_when_told_to(device):
    device.write("/var/lib/plcruntime/apps", "error\n")
    device.write("/var/lib/plcruntime/version", "silence\n")

    assert "told to fail" in ask_runtime(device, "apps").stderr
    assert "timed out" in ask_runtime(device, "version", limit=1).stderr


def test_the_plc_runtime_goes_and_comes_with_its_job(device):
    call_job(device, "codesys", "Stop", False)
    device.wait_for(lambda: ask_runtime(device, "apps").returncode != 0, what="the runtime to go")

    for _ in range(20):
        call_job(device, "codesys", "Start", False)
        call_job(device, "codesys", "Stop", False)
    call_job(device, "another", "Start", False)
    call_job(device, "codesys", "Start", False)

    device.wait_for(lambda: ask_runtime(device, "apps").returncode == 0, what="the runtime to come back")
