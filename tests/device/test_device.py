"""Starting, stopping and steering devices."""

import os
import signal
import subprocess

import pytest
import simdevice
import traces


def cli(*arguments, device=None, **run):
    options = ["--state", device.state.directory, "--install", device.install] if device else []
    command = [traces.LAUNCHER, arguments[0], *options, *arguments[1:]]
    return subprocess.run(command, capture_output=True, text=True, **run)


@pytest.mark.parametrize("status", [0, 1, 42])
def test_the_exit_status_of_a_job_is_passed_on(status):
    assert cli("run", "--ephemeral", "--", "sh", "-c", f"exit {status}").returncode == status


def test_a_job_that_a_signal_ends_counts_as_the_shell_counts_it():
    assert cli("run", "--ephemeral", "--", "sh", "-c", "kill -ABRT $$").returncode == 128 + signal.SIGABRT


def test_a_job_that_does_not_exist_is_named():
    result = cli("run", "--ephemeral", "--", "no-such-program")

    assert result.returncode == 127
    assert "no-such-program" in result.stderr


def test_a_directory_that_can_not_be_bound_is_named(tmp_path):
    result = cli("run", "--ephemeral", "--bind", str(tmp_path / "nothing"), "--", "true")

    assert result.returncode == 125
    assert result.stderr == f"device: no such directory: {tmp_path}/nothing\n"


def test_a_program_inside_ends_at_the_time_limit(device):
    with pytest.raises(subprocess.TimeoutExpired):
        device.exec(["sleep", "654321"], timeout=0.5)

    device.wait_for(lambda: "654321" not in device.exec(["ps", "ax"]).stdout, what="the program to end")


def test_a_job_reads_and_writes_our_streams():
    result = cli("run", "--ephemeral", "--", "sh", "-c", "cat; echo words >&2", input="given\n")

    assert (result.stdout, result.stderr) == ("given\n", "words\n")


def test_a_job_may_take_any_name_on_its_bus_and_call_it():
    owner = "import dbus; bus = dbus.SystemBus(); print(bus.request_name('net.connman'))"

    result = cli("run", "--ephemeral", "--", "/usr/bin/python3", "-c", owner)

    assert result.stdout == "1\n"


def test_the_command_line_takes_a_device_through_its_life(make_device):
    device = make_device()

    assert cli("start", device=device).returncode == 0
    assert cli("status", device=device).stdout.startswith("running")
    assert cli("exec", "--", "sh", "-c", "hostname; pwd; exit 9", device=device).stdout == "node-4711\n/\n"
    assert cli("exec", "--", "sh", "-c", "exit 9", device=device).returncode == 9
    assert cli("daemon-stop", device=device).returncode == 0
    assert "ended with status -15" in cli("status", device=device).stdout
    assert cli("daemon-start", device=device).returncode == 0
    assert cli("power-cut", device=device).returncode == 0
    assert cli("status", device=device).returncode == 3
    assert cli("power-cycle", device=device).returncode == 0
    assert cli("daemon-log", device=device).stdout == "fake: up\n" * 3
    assert "stop it first" in cli("erase", device=device).stderr
    assert cli("stop", device=device).returncode == 0
    assert cli("erase", device=device).returncode == 0
    assert not os.path.exists(device.state.directory)


def test_the_daemon_answers_on_the_bus_when_the_start_is_over(device):
    call = ["dbus-send", f"--bus={device.bus_address}", "--print-reply", "--dest=com.ozt.nodekeep", "/system"]

    reply = subprocess.run([*call, "local.System.environment", "string:PATH"], capture_output=True, text=True)

    assert "/usr/sbin:/usr/bin:/sbin:/bin" in reply.stdout


def test_the_daemon_does_not_see_the_environment_of_the_caller(make_device, monkeypatch):
    monkeypatch.setenv("SOME_SETTING", "of the machine")
    monkeypatch.setenv("UBSAN_OPTIONS", "print_stacktrace=1")
    device = make_device()

    device.start()

    environment = device.exec(["cat", f"/proc/{device.daemon_status()['pid']}/environ"]).stdout.split("\0")
    assert sorted(filter(None, environment)) == [
        "LANG=C.UTF-8",
        "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
        "UBSAN_OPTIONS=print_stacktrace=1",
    ]


def test_a_second_start_is_refused(device):
    with pytest.raises(simdevice.DeviceError, match="runs already"):
        simdevice.SimulatedDevice(device.state.directory, device.install).start()

    assert device.daemon_pid


def test_a_daemon_that_ends_at_once_fails_the_start_and_shows_its_log(make_device):
    device = make_device()

    with pytest.raises(simdevice.DeviceError, match="the daemon ended with status 4") as failure:
        device.start(env={"FAKE_EXIT_AT_ONCE": "1"})

    assert failure.value.log == "fake: ending as told\n"
    assert not device.running


def test_a_missing_daemon_is_told_in_one_line(tmp_path):
    result = cli("start", "--install", str(tmp_path / "nothing"), "--state", str(tmp_path / "state"))

    assert result.returncode == 125
    assert result.stderr.startswith("device: no daemon is installed in ")
    assert len(result.stderr.splitlines()) == 1


def test_a_device_without_the_daemon_has_bus_and_stand_ins(make_device):
    device = make_device()

    device.start(daemon=False)

    assert device.daemon_status() is None
    assert device.daemon_pid is None
    assert "com.ubuntu.Upstart" in device.exec(["busctl", "list", "--acquired"]).stdout


def test_the_daemon_can_be_restarted_with_tools_of_a_test_first_in_its_path(device):
    device.write("/opt/fake/rm", "#!/bin/sh\nexit 0\n", mode="755")
    first = device.daemon_pid

    status = device.stop_daemon()
    device.start_daemon(env={"PATH": "/opt/fake:/usr/sbin:/usr/bin:/sbin:/bin"})

    assert status == -signal.SIGTERM
    assert device.daemon_pid not in (None, first)
    environment = device.read(f"/proc/{device.daemon_status()['pid']}/environ")
    assert "PATH=/opt/fake:/usr/sbin" in environment


def test_a_power_cycle_keeps_what_a_device_keeps(device):
    device.write("/srv/data", "on the data partition")
    device.write("/etc/setting", "in the root file system")
    device.write("/run/volatile", "x")
    device.write("/tmp/volatile", "x")
    device.flash = {"config": "#!/bin/sh\na=1\n"}
    before = device.init_pid

    device.power_cycle()

    assert device.init_pid != before
    assert device.read("/srv/data") == "on the data partition"
    assert device.read("/etc/setting") == "in the root file system"
    assert not device.exists("/run/volatile") and not device.exists("/tmp/volatile")
    assert device.flash == {"config": "#!/bin/sh\na=1\n"}
    assert device.daemon_pid


def test_a_power_cut_is_over_when_process_1_is_gone(device):
    for _ in range(5):
        pid = device.init_pid

        device.power_cut()

        assert not os.path.exists(f"/proc/{pid}")
        device.start(daemon=False)


def reboot(device):
    """The command may go down with the rest before it has ended."""
    assert device.exec(["shutdown", "-r", "now"]).returncode in (0, -signal.SIGTERM)


def test_an_ordered_reboot_clears_what_is_volatile_and_starts_all_anew(device):
    first = device.daemon_pid
    device.write("/etc/hostname", "renamed\n")
    device.write("/srv/data", "kept")
    device.write("/run/volatile/deep", "x")
    device.write("/tmp/volatile", "x")

    reboot(device)
    device.wait_for(lambda: device.boots == 2, what="the second boot")
    device.wait_daemon()

    assert device.daemon_pid not in (None, first)
    assert device.exec(["hostname"]).stdout == "renamed\n"
    assert device.read("/srv/data") == "kept"
    assert not device.exists("/run/volatile") and not device.exists("/tmp/volatile")
    assert device.exists("/run/simulated-device")


def test_the_log_tells_what_the_daemon_ended_with_before_a_boot(device):
    device.exec(["kill", "-KILL", str(device.daemon_status()["pid"])], check=True)
    device.wait_for(lambda: not device.daemon_status()["running"], what="the daemon's end")

    reboot(device)
    device.wait_for(lambda: device.boots == 2, what="the second boot")

    assert "the daemon ended with status -9\n" in device.host_log("device.log")


def test_a_network_without_its_services_is_refused(make_device, monkeypatch):
    monkeypatch.setattr(simdevice, "PACKAGES", "/nowhere")

    with pytest.raises(simdevice.DeviceError, match="fetch-services"):
        make_device().start(daemon=False, network=True)


def test_the_files_of_a_stopped_device_can_be_read_and_written(make_device):
    device = make_device()

    device.write("/srv/deep/down", b"\x00bytes")
    device.write("/var/run/nobody", "lost with the power")

    assert device.read_bytes("/srv/deep/down") == b"\x00bytes"
    assert device.read("/etc/hostname") == "node-4711\n"
    assert not device.exists("/var/run/nobody")
    assert not os.path.exists("/var/run/nobody")
    with pytest.raises(FileNotFoundError, match="/etc/nothing"):
        device.read("/etc/nothing")


def test_the_files_of_a_running_device_are_its_own_whatever_links_lead_there(make_device):
    device = make_device()
    device.start(daemon=False)
    device.exec(["ln", "-s", "/etc/hostname", "/etc/absolute"], check=True)
    device.exec(["ln", "-s", "../../../../../../../../etc/hostname", "/etc/climbing"], check=True)
    device.exec(["mkfifo", "/tmp/fifo"], check=True)

    for link in ("/etc/absolute", "/etc/climbing"):
        device.write(link, f"by {link}\n")
        assert device.read("/etc/hostname") == f"by {link}\n" == device.read(link)
    device.write("/opt/deep/down", b"\x00bytes", mode="750")

    with open("/etc/hostname") as file:
        assert "by /etc/" not in file.read()
    assert device.exec(["stat", "-c", "%a", "/opt/deep/down"]).stdout == "750\n"
    assert device.read("/proc/1/comm") == "init\n"
    assert device.exists("/etc/climbing") and not device.exists("/etc/nothing")
    assert device.read_bytes("/tmp/fifo") == b""
    for path in ("/etc/nothing", "/etc"):
        with pytest.raises(FileNotFoundError, match=path):
            device.read(path)
    with pytest.raises(simdevice.DeviceError, match="can't write /etc"):
        device.write("/etc", "a directory")


def test_the_data_partition_can_come_late_and_go(make_device):
    device = make_device()
    device.write("/srv/data", "there")

    device.start(srv=False)
    assert " /srv " not in device.read("/proc/mounts")
    assert device.exec(["ls", "/srv"]).stdout == ""
    device.mount_srv()
    assert " /srv " in device.read("/proc/mounts")
    assert device.read("/srv/data") == "there"
    device.unmount_srv()

    assert " /srv " not in device.read("/proc/mounts")


def test_two_devices_run_side_by_side(make_device):
    one, two = make_device("one"), make_device("two")
    two.write("/etc/hostname", "node-0815\n")

    one.start()
    two.start()
    one.write("/srv/only", "one")

    assert [device.exec(["hostname"]).stdout for device in (one, two)] == ["node-4711\n", "node-0815\n"]
    assert not two.exists("/srv/only")
    assert one.daemon_pid != two.daemon_pid
    one.stop()
    assert two.daemon_pid


def test_the_kernel_looks_like_the_devices(device):
    mounts = device.read("/proc/mounts")
    links = device.exec(["ip", "-o", "link"]).stdout.splitlines()

    assert [line.split()[2] for line in mounts.splitlines() if line.split()[1] == "/dev"] == ["tmpfs"]
    assert len(links) == 1 and "LOOPBACK,UP" in links[0]
    assert device.exists("/run/udev/control")
    assert device.exec(["readlink", "/var/run"]).stdout == "/run\n"
