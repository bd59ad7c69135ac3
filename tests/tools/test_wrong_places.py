"""Where ./run and ./test can't do their work they say so in one line, before anything is installed or built."""

import os
import shutil
import subprocess

import pytest
import simdevice

# What installs or builds.
WORKERS = ("apt", "apt-get", "cmake", "ctest", "dpkg", "dpkg-deb", "mmdebstrap", "ninja")

COMMANDS = ["./run", "./run shell", "./test", "./test release"]
COMMANDS_OF_ROOT = [*COMMANDS, "tools/real-kernel true"]
NO_ROOT = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
NO_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"]

OTHERS = {
    "Debian 11": 'ID=debian\nVERSION_ID="11"\n',
    "Debian that is not out yet": "ID=debian\nVERSION_CODENAME=trixie\n",
    "another one": 'ID=linux-mill\nID_LIKE=debian\nVERSION_ID="12"\n',
}

# In mounts of its own, at a path that everybody can reach: the scripts with nothing of the machine but those of its
# programs that neither install nor build.
PLACE = """
mount --bind "$1" /mnt
[ ! -e /mnt/os-release ] || mount --bind /mnt/os-release /etc/os-release
if [ -e /mnt/on-overlay ]; then
    mount -t tmpfs layers /mnt/layers
    mkdir /mnt/layers/upper /mnt/layers/work
    mount -t overlay -o lowerdir=/mnt/project,upperdir=/mnt/layers/upper,workdir=/mnt/layers/work over /mnt/project
fi
cd /mnt/project
shift
exec env -i PATH=/mnt/fakes:/mnt/programs TMPDIR=/mnt/tmp LANG=C.UTF-8 "$@"
"""


class Place:
    def __init__(self, path):
        self.path = path
        path.chmod(0o755)
        for name in ("programs", "fakes", "tmp", "layers", "project/tools", "project/device"):
            (path / name).mkdir(parents=True)
        for name in (
            "run",
            "test",
            "tools/common.sh",
            "tools/real-kernel",
            "device/fetch-services",
            "device/packages.list",
        ):
            shutil.copy2(os.path.join(simdevice.PROJECT, name), path / "project" / name)
        for directory in ("/usr/bin", "/usr/sbin"):
            for program in os.listdir(directory):
                link = path / "programs" / program
                if program not in (*WORKERS, "sudo") and not link.is_symlink():
                    link.symlink_to(os.path.join(directory, program))
        self.record = path / "calls"
        self.record.touch()
        self.record.chmod(0o666)
        for name in WORKERS:
            self.fake(name, "exit 1")
        self.fake("dpkg-query", "echo 'dpkg-query: no packages found' >&2; exit 1")
        self.program("project/device/device", "#!/bin/sh\nexit 3\n")  # no device runs

    def program(self, name, text):
        path = self.path / name
        path.write_text(text)
        path.chmod(0o755)

    def fake(self, name, body):
        """Puts a program in place of the machine's; its calls are recorded."""
        self.program(f"fakes/{name}", f'#!/bin/sh\necho "{name} $*" >>/mnt/calls\n{body}\n')

    def sourced(self, script):
        """What a shell says that has the lists of packages and functions of the scripts."""
        result = subprocess.run(
            ["bash", "-c", f". tools/common.sh; {script}"],
            cwd=self.path / "project",
            capture_output=True,
            text=True,
            check=True,
        )
        return result.stdout

    def run(self, command, rights=()):
        return subprocess.run(
            ["unshare", "--mount", "sh", "-euc", PLACE, "sh", self.path, *rights, *command.split()],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
        )

    @property
    def calls(self):
        """The names of the programs that were called."""
        return {line.split()[0] for line in self.record.read_text().splitlines()}


@pytest.fixture
def place(tmp_path):
    return Place(tmp_path)


def complaint(result):
    """The one line on standard error of a run that has failed."""
    assert result.returncode != 0
    (line,) = result.stderr.splitlines()
    return line


def refused(place, result):
    """The one line of a run that did nothing and said nothing else."""
    line = complaint(result)
    assert result.stdout == ""
    assert place.calls.isdisjoint(WORKERS)
    return line


@pytest.mark.parametrize("command", COMMANDS)
def test_in_the_right_place_it_builds(place, command):
    """So the other tests would see a call of what installs or builds."""
    place.fake("dpkg-query", "printf installed")
    (place.path / "project/build").mkdir()
    (place.path / "project/build/device-packages.list").write_text(place.sourced('echo "${device_packages[*]}"'))

    result = place.run(command)

    assert result.returncode != 0
    assert "cmake" in place.calls
    assert "The build failed" in result.stderr


@pytest.mark.parametrize("command", ["./run shells", "./run shell more", "./test releases", "./test --long release"])
def test_with_arguments_that_there_are_not(place, command):
    assert refused(place, place.run(command)).startswith(f"Usage: {command.split()[0]} ")


@pytest.mark.parametrize("command", COMMANDS_OF_ROOT)
def test_without_root_and_sudo(place, command):
    assert "root" in refused(place, place.run(command, NO_ROOT))


@pytest.mark.parametrize("command", COMMANDS_OF_ROOT)
def test_with_a_sudo_that_refuses(place, command):
    place.fake("sudo", "echo 'sudo: a password is required' >&2; exit 1")

    line = refused(place, place.run(command, NO_ROOT))

    assert "sudo" in place.calls
    assert "root" in line
    assert "sudo" in line


@pytest.mark.parametrize("command", COMMANDS)
def test_without_the_right_to_make_namespaces(place, command):
    line = refused(place, place.run(command, NO_RIGHTS))

    assert "namespaces" in line
    assert "privileged" in line


@pytest.mark.parametrize("command", COMMANDS)
def test_on_an_overlay(place, command):
    (place.path / "on-overlay").touch()

    line = refused(place, place.run(command))

    assert "overlay" in line
    assert "volume" in line


@pytest.mark.parametrize("command", COMMANDS)
@pytest.mark.parametrize("release", OTHERS.values(), ids=OTHERS)
def test_on_another_distribution(place, command, release):
    (place.path / "os-release").write_text(release)

    line = refused(place, place.run(command))

    assert "Debian 12" in line
    for package in place.sourced('echo "${packages[@]}" "${device_packages[@]}"').split():
        assert package in line.split()
    assert {"qt6-base-dev", "connman"} <= set(line.split())


@pytest.mark.parametrize("command", COMMANDS)
def test_without_a_network_for_missing_packages(place, command):
    place.fake("apt-get", "echo 'E: Unable to fetch some archives' >&2; exit 100")

    result = place.run(command)

    assert "network" in complaint(result)
    assert "apt-get" in place.calls
    assert "cmake" not in place.calls


@pytest.mark.parametrize("command", COMMANDS)
def test_without_a_network_for_the_devices_own_packages(place, command):
    place.fake("dpkg-query", "printf installed")
    place.fake("apt-get", "echo 'E: Unable to fetch some archives' >&2; exit 100")

    result = place.run(command)

    assert "network" in complaint(result)
    assert "apt-get" in place.calls
    assert "cmake" not in place.calls
