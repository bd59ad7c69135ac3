"""A device leaves the machine as it was."""

import os
import signal
import subprocess
import time

import pytest
import simdevice
import traces
from launch import ADDR_NO_RANDOMIZE

# Numbers of the capabilities to load modules, to reboot and to set the clock.
DROPPED = (16, 22, 25)
SLEEP = ["sh", "-c", "echo here; exec sleep 600"]


@pytest.fixture(autouse=True)
def mounts_stay():
    before = traces.machine_mounts()
    yield
    assert traces.machine_mounts() == before


def test_nothing_runs_after_a_stop(device):
    namespaces = traces.namespaces_of(device.init_pid)
    assert len(traces.processes_in(namespaces)) >= 4

    device.stop()

    assert not device.running
    assert traces.gone(namespaces)


def test_nothing_runs_after_a_power_cut_with_programs_in_the_background(device):
    namespaces = traces.namespaces_of(device.init_pid)
    device.exec(["sh", "-c", "setsid sleep 600 >/dev/null 2>&1 &"])

    device.power_cut()

    assert not device.running
    assert traces.gone(namespaces)


@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGTERM, signal.SIGHUP])
def test_a_run_ends_with_its_launcher(number):
    launcher = traces.launch("run", "--ephemeral", "--", *SLEEP, stdout=subprocess.PIPE)
    namespaces = traces.job_of(launcher)

    os.kill(launcher.pid, number)

    launcher.wait(timeout=60)
    assert launcher.returncode != 0
    assert traces.gone(namespaces)


def test_ctrl_c_ends_a_run():
    launcher = traces.launch("run", "--ephemeral", "--", *SLEEP, stdout=subprocess.PIPE)
    namespaces = traces.job_of(launcher)

    os.killpg(launcher.pid, signal.SIGINT)

    launcher.wait(timeout=60)
    assert launcher.returncode == 130
    assert traces.gone(namespaces)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGKILL])
def test_a_device_in_the_foreground_ends_with_its_launcher(make_device, stage, number):
    device = make_device()
    options = ["--state", device.state.directory, "--install", str(stage)]
    launcher = traces.launch("start", "--foreground", *options, stdout=subprocess.PIPE)
    assert launcher.stdout.readline() == "fake: up\n"
    namespaces = traces.namespaces_of(device.init_pid)

    os.killpg(launcher.pid, number)

    launcher.wait(timeout=60)
    assert traces.gone(namespaces)
    assert not device.running


def test_a_crashed_daemon_leaves_the_device_up_and_no_core(device):
    crash = ["--type=method_call", "--dest=com.ozt.nodekeep", "/system", "local.System.crash"]
    device.exec(["dbus-send", "--system", *crash], check=True)

    device.wait_for(lambda: not device.daemon_status()["running"], what="the daemon to end")

    assert device.daemon_status()["status"] == -signal.SIGABRT
    assert device.daemon_pid is None
    assert device.exec(["sh", "-c", "ls /core* /usr/sbin/core*"]).stdout == ""
    device.start_daemon()
    assert device.daemon_pid


def test_what_is_written_inside_is_not_on_the_machine(device):
    name = f"written-inside-{os.getpid()}-{time.monotonic_ns()}"
    places = ["/", "/etc", "/root", "/run", "/srv", "/tmp", "/usr/sbin", "/var/tmp", "/dev", "/dev/shm"]
    hostname = os.uname().nodename

    for place in places:
        device.write(os.path.join(place, name), "x")
    device.write("/etc/hostname", "renamed\n")
    device.exec(["hostname", "renamed"], check=True)

    assert [place for place in places if not device.exists(os.path.join(place, name))] == []
    assert [place for place in places if os.path.exists(os.path.join(place, name))] == []
    assert os.uname().nodename == hostname
    assert device.exec(["hostname"]).stdout == "renamed\n"
    with open("/etc/hostname") as file:
        assert file.read() != "renamed\n"


def test_the_project_and_the_installed_tree_can_be_seen_but_not_changed(device, stage):
    for directory in (simdevice.PROJECT, str(stage)):
        assert device.exec(["ls", directory]).stdout.split() == sorted(
            entry for entry in os.listdir(directory) if not entry.startswith(".")
        )
        refused = device.exec(["touch", os.path.join(directory, "new")])
        assert "Read-only file system" in refused.stderr
        assert not os.path.exists(os.path.join(directory, "new"))


def test_the_kernel_settings_of_the_machine_can_not_be_changed(device):
    refused = device.exec(["sh", "-c", "cat /proc/sys/vm/swappiness >/proc/sys/vm/swappiness"])

    assert "Read-only file system" in refused.stderr


def test_an_ephemeral_run_leaves_no_file(tmp_path):
    command = ["sh", "-c", "echo x >/srv/x; echo x >/etc/x; bareboxenv -l /tmp/env /dev/mtdblock1; ls /tmp/env"]

    result = simdevice.SimulatedDevice(tmp_path / "state").run(command, ephemeral=True, stdout=subprocess.PIPE)

    assert result.stdout.split() == [b"boot", b"config", b"system"]
    assert os.listdir(tmp_path) == []
    assert not os.path.exists("/srv/x") and not os.path.exists("/etc/x")


def test_a_bound_directory_takes_what_the_job_writes(tmp_path):
    result = simdevice.SimulatedDevice(tmp_path / "state").run(
        ["sh", "-c", f"echo counted >{tmp_path}/data"], ephemeral=True, writable=[tmp_path]
    )

    assert result.returncode == 0
    assert (tmp_path / "data").read_text() == "counted\n"


def test_the_machines_dangerous_capabilities_are_gone_everywhere(device):
    everything = ["sh", "-c", "cat /proc/[0-9]*/status"]
    job = simdevice.SimulatedDevice().run(everything, ephemeral=True, stdout=subprocess.PIPE, text=True)

    for statuses in (device.exec(everything).stdout, job.stdout):
        sets = [line.split() for line in statuses.splitlines() if line.startswith("Cap")]
        assert len(sets) >= 5
        held = {(kind, bit) for kind, mask in sets for bit in DROPPED if int(mask, 16) >> bit & 1}
        assert held == set()


def test_all_programs_load_at_fixed_addresses(device):
    everything = ["sh", "-c", "cat /proc/[0-9]*/personality"]
    job = simdevice.SimulatedDevice().run(everything, ephemeral=True, stdout=subprocess.PIPE, text=True)

    for personalities in (device.exec(everything).stdout.split(), job.stdout.split()):
        assert len(personalities) >= 2
        assert {int(bits, 16) & ADDR_NO_RANDOMIZE for bits in personalities} == {ADDR_NO_RANDOMIZE}


def test_no_service_of_the_machine_can_be_woken(device):
    call = ["dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus", "/"]

    names = device.exec([*call, "org.freedesktop.DBus.ListActivatableNames"], check=True).stdout

    assert [line for line in names.splitlines() if "string" in line] == ['      string "org.freedesktop.DBus"']


def test_the_boot_refuses_the_machines_own_namespaces():
    boot = os.path.join(simdevice.PROJECT, "device/boot")
    machine = " ".join(os.readlink(f"/proc/self/ns/{kind}") for kind in ("mnt", "pid", "uts", "net", "ipc"))
    unshared = ["unshare", "--mount", "--pid", "--fork", "--kill-child"]

    for command in ([*unshared[:2], boot, "{}"], [*unshared, boot, "{}"]):
        result = subprocess.run(
            command, env={"PATH": os.environ["PATH"], "DEVICE_HOST_NAMESPACES": machine}, capture_output=True, text=True
        )
        assert result.returncode == 125
        assert len(result.stderr.splitlines()) == 1


def test_process_1_refuses_to_run_on_the_machine():
    init = os.path.join(simdevice.PROJECT, "device/rootfs/usr/lib/nodekeep-device/init")

    result = subprocess.run([init, "{}"], capture_output=True, text=True)

    assert result.returncode == 1
    assert "refusing to run outside" in result.stderr


def test_who_is_not_root_is_told_so(monkeypatch):
    monkeypatch.setattr(os, "geteuid", lambda: 1000)

    with pytest.raises(simdevice.DeviceError, match="needs root: run it as root or with sudo"):
        simdevice.require_root()
