"""The fixtures that come along for the tests of other programs."""

import os
import subprocess

import simdevice

TEST = """
import json
import urllib.request

pytest_plugins = ["nodekeep_fixtures"]


def test_own(nodekeep_device, nodekeep_url, nodekeep_package):
    package = nodekeep_package("--version", "4.3")
    nodekeep_device.write("/tmp/package", package.read_bytes())

    listed = nodekeep_device.exec(["tar", "-tzf", "/tmp/package"], check=True).stdout

    assert "firmware/control" in listed
    method = "org.freedesktop.DBus|/|org.freedesktop.DBus.NameHasOwner"
    call = {"id": 1, "method": method, "params": ["s", "com.ozt.nodekeep"]}
    answer = urllib.request.urlopen(nodekeep_url, json.dumps(call).encode(), timeout=30)
    assert json.load(answer) == {"id": 1, "result": True}
    assert nodekeep_device.daemon_status()["running"]
"""


def test_a_test_gets_a_device_and_packages(tmp_path, stage):
    (tmp_path / "test_own.py").write_text(TEST)
    path = os.path.join(simdevice.PROJECT, "device")
    environment = {**os.environ, "PYTHONPATH": path, "NODEKEEP_STAGE": str(stage)}

    result = subprocess.run(
        ["/usr/bin/python3", "-m", "pytest", "-p", "no:cacheprovider", "test_own.py"],
        cwd=tmp_path,
        env=environment,
        capture_output=True,
        text=True,
    )

    assert "1 passed" in result.stdout, result.stdout
