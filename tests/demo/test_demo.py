"""The demo proves what it shows, and leaves nothing behind, however it ends."""

import glob
import os
import shutil
import signal
import subprocess

import pytest
import simdevice
import traces

DEMO = os.path.join(simdevice.PROJECT, "tools/demo")
STEP = "── The host name: read, changed, refused\n"


def command(stage, place):
    return [DEMO, "--install", stage, "--place", place]


@pytest.fixture
def renaming_stage(stage, tmp_path):
    """A stage with a daemon that comes up on a device of another name."""
    copy = shutil.copytree(stage, tmp_path / "stage", symlinks=True)
    daemon = copy / simdevice.DAEMON
    daemon.rename(f"{daemon}.real")
    daemon.write_text(f"#!/bin/sh\necho other >/proc/sys/kernel/hostname\nexec /{simdevice.DAEMON}.real\n")
    daemon.chmod(0o755)
    return copy


@pytest.mark.slow
def test_all_of_it_is_as_it_has_to_be(stage, tmp_path):
    demo = subprocess.run(command(stage, tmp_path), capture_output=True, text=True)

    assert (demo.returncode, demo.stderr) == (0, "")
    assert "\n── Done" in demo.stdout
    assert os.listdir(tmp_path) == []


def test_the_first_answer_that_is_off_ends_it_with_a_line_that_names_the_step(renaming_stage, tmp_path):
    place = tmp_path / "place"

    demo = subprocess.run(command(renaming_stage, place), capture_output=True, text=True)

    assert demo.returncode == 1
    assert demo.stderr.splitlines()[0] == (
        "demo: The host name: read, changed, refused: "
        "busctl get-property com.ozt.nodekeep /system local.System hostname: "
        """expected 's "node-4711"', came 's "other"'"""
    )
    assert demo.stdout.rpartition(STEP)[1:] == (
        STEP,
        '$ busctl get-property com.ozt.nodekeep /system local.System hostname\n  s "other"\n',
    )
    assert os.listdir(place) == []


@pytest.mark.parametrize(
    ("number", "send"), [(signal.SIGINT, os.killpg), (signal.SIGTERM, os.killpg), (signal.SIGTERM, os.kill)]
)
def test_a_signal_ends_it_and_leaves_no_trace(stage, tmp_path, number, send):
    mounts = traces.machine_mounts()
    pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
    with subprocess.Popen(command(stage, tmp_path), text=True, start_new_session=True, **pipes) as demo:
        assert STEP in iter(demo.stdout.readline, "")
        (state,) = glob.glob(f"{tmp_path}/demo.*/state")
        namespaces = traces.namespaces_of(simdevice.SimulatedDevice(state).init_pid)

        send(demo.pid, number)

        _, errors = demo.communicate()

    assert demo.returncode == 128 + number
    assert errors == ""
    assert traces.gone(namespaces)
    assert traces.machine_mounts() == mounts
    assert os.listdir(tmp_path) == []
