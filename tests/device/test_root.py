"""A device has a root of its own: what the machine has configured or installed besides does not change it."""

import shutil
import subprocess

import pytest
import simdevice
import traces

# Each a way for a machine to be unlike another one.
DENIAL = "<busconfig><policy context='mandatory'><deny own='*'/></policy></busconfig>\n"
ODD_FILES = {
    "/etc/network/interfaces": "iface eth0 inet static\n  address 10.9.8.7\n",
    "/etc/ssh/ssh_host_rsa_key": "the machine's own\n",
    "/etc/syslog.conf": "REMOTE=-R 10.9.8.7\n",
    "/etc/variables": "ROOM=cellar\n",
    "/etc/guiLevel1": "pw=secret\n",
    "/etc/hostname": "odd-machine\n",
    "/etc/hosts": "10.9.8.7 localhost\n",
    "/etc/resolv.conf": "nameserver 10.9.8.7\n",
    "/etc/nsswitch.conf": "hosts: nothing\n",
    "/etc/passwd": "root:x:0:0:odd:/:/bin/false\nmessagebus:x:4711:4711::/:/bin/false\n",
    "/etc/group": "root:x:0:\nmessagebus:x:4711:\n",
    "/etc/alternatives/awk": "no program\n",
    "/etc/bash.bashrc": "exit 1\n",
    "/etc/dbus-1/system.d/odd.conf": DENIAL,
    "/var/lib/connman/settings": "[global]\nOfflineMode=true\n",
    "/var/log/messages": "long ago\n",
    "/opt/odd/file": "x\n",
    "/home/odd/file": "x\n",
    "/srv/fwupdate/fwupdate7/control": 'VERSION="9"\n',
    "/usr/local/bin/tar": "#!/bin/sh\nexit 1\n",
    "/usr/share/dbus-1/system.d/odd.conf": DENIAL,
    "/usr/share/dbus-1/system-services/odd.service": "[D-BUS Service]\nName=net.connman\nExec=/bin/false\n",
}

# Kind, mode, owner and name or link of all but the kernel's own files and the machine's programs; the files' sums.
LIST = r"""
files() { find / /run /tmp /dev /usr/local /usr/share/dbus-1 -xdev "$@" 2>/dev/null | sort; }
files -printf '%y %m %U:%G %p -> %l\n'
files -type f -exec sha256sum {} +
"""


@pytest.fixture
def on_a_machine(tmp_path, stage):
    """Runs the launcher where "/etc" and the like of the machine hold the given files and nothing else."""
    places = ("etc", "var", "opt", "home", "srv")
    needed = {simdevice.PROJECT, str(stage), str(tmp_path)}  # wherever they are

    def run(files, *arguments):
        root = tmp_path / "machine"
        for place in (*places, "usr"):
            (root / place).mkdir(parents=True)
        for path, text in files.items():
            file = root / path[1:]
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
        aside = {path: f"/proc/fs/{number}" for number, path in enumerate(sorted(needed))}
        laid_out = aside[str(tmp_path)] + "/machine"
        script = [
            "mount -t tmpfs aside /proc/fs",
            *(f"mkdir {there} && mount --bind {path} {there}" for path, there in aside.items()),
            *(f"mount --bind {laid_out}/{place} /{place}" for place in places),
            *(f"mkdir -p {path} && mount --bind {there} {path}" for path, there in aside.items()),
            f"mount -t overlay -o lowerdir={laid_out}/usr:/usr programs /usr",
            'exec "$@"',
        ]
        command = ["unshare", "--mount", "sh", "-ec", "\n".join(script), "sh", traces.LAUNCHER, *arguments]
        result = subprocess.run(command, capture_output=True, text=True, check=False)
        shutil.rmtree(root)
        assert result.returncode == 0, result.stderr
        return result.stdout

    return run


def test_what_the_machine_has_configured_does_not_change_the_device(on_a_machine, stage):
    run = ["run", "--ephemeral", "--install", str(stage), "--", "sh", "-c", LIST]

    bare = on_a_machine({}, *run).splitlines()
    odd = on_a_machine(ODD_FILES, *run).splitlines()

    assert [line for line in bare if " /etc/network -> " in line]
    assert odd == bare


def test_the_daemon_starts_on_a_machine_with_nothing_in_etc(on_a_machine, make_device):
    device = make_device()
    options = ["--state", device.state.directory, "--install", device.install]

    on_a_machine({}, "start", *options)

    assert device.daemon_answers(limit=5)


def test_the_image_has_what_its_programs_look_for(device):
    places = [
        "/etc/network",
        "/etc/ssh",
        "/etc/localtime",
        "/var/lib",
        "/var/log",
        "/var/tmp",
        "/home",
        "/opt",
        "/root",
    ]

    assert [place for place in places if not device.exists(place)] == []
    assert device.exec(["sh", "-c", "awk 'BEGIN { print 6 * 7 }'; which tar"]).stdout.split() == ["42", "/usr/bin/tar"]
    assert device.exec(["getent", "services", "ntp"]).stdout.split() == ["ntp", "123/udp"]


def test_the_image_in_the_tree_leaves_no_placeholder(device):
    assert device.exec(["find", "/", "-xdev", "-name", ".gitkeep"]).stdout == ""


def test_a_fresh_etc_of_the_boot_stage_is_that_of_the_image(device):
    same = ["diff", "-r", "--no-dereference", "/dev/.device/image/etc", "/etc"]

    result = device.exec(same)

    assert (result.returncode, result.stdout) == (0, "")
