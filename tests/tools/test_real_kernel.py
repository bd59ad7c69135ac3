"""How tools/real-kernel runs a command and what is left of it, with an emulator that is a fake: it boots nothing, and
does what the machine would do with the command."""

import os
import shutil
import signal
import subprocess

import pytest
from simdevice import PROJECT, machine_pids, wait_for

# Its own arguments are recorded; the place of the machine is where its first root lies.
EMULATOR = """#!/bin/bash
printf '%s\\n' "$@" >arguments
[ ! -e refuse ] || { echo "qemu: no memory" >&2; exit 1; }
while [ $# != 0 ]; do
    case $1 in
        -initrd) place=${2%/*} ;;
        *id=output,path=*) output=${1##*=} ;;
        *id=errors,path=*) errors=${1##*=} ;;
    esac
    shift
done
busybox cpio -t <"$place/first-root" >first-root 2>/dev/null
mapfile -d '' -t command <"$place/command"
[ "${command[0]}" != wait ] || { echo here >"$output"; mkfifo never; read -r <>never; }
status=0
"${command[@]}" >"$output" 2>"$errors" || status=$?
echo $status >"$place/status"
"""

FAKES = {
    "qemu-system-x86_64": EMULATOR,
    "apt-cache": "#!/bin/sh\necho linux-image-amd64\necho '  Depends: linux-image-6.1.0-1-amd64'\n",
    "apt-get": "#!/bin/sh\n[ ! -e ../../unreachable ] && mv ../../kernel.deb .\n",
    "depmod": '#!/bin/sh\ntouch "$2/depmod-$3"\n',
    "dpkg": "#!/bin/sh\ncat processor\n",
    "dpkg-query": "#!/bin/sh\nprintf installed\n",
    "modprobe": '#!/bin/sh\nfor module in a b a; do echo "insmod $2/lib/modules/$4/kernel/net/$module.ko "; done\n',
}

CONTROL = (
    "Package: linux-image-6.1.0-1-amd64\nVersion: 1\nArchitecture: amd64\nMaintainer: x <x@example>\nDescription: x\n"
)
MODULES = "lib/modules/6.1.0-1-amd64"
NEEDED = ("crypto", "fs", "lib", "drivers/char", "drivers/mtd", "drivers/net", "drivers/net/can", "drivers/virtio")
CONTENT = (
    "boot/vmlinuz-6.1.0-1-amd64",
    f"{MODULES}/modules.order",
    *(f"{MODULES}/kernel/{name}.ko" for name in ("net/a", "net/b", *(f"{directory}/c" for directory in NEEDED))),
)
UNUSED = f"{MODULES}/kernel/sound/c.ko"


class Tree:
    """A project of its own with the script in it."""

    def __init__(self, path):
        self.project = path / "project"
        for name in ("tools/real-kernel", "tools/common.sh", "device/packages.list"):
            (self.project / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(os.path.join(PROJECT, name), self.project / name)
        (self.project / "processor").write_text("amd64\n")
        (path / "fakes").mkdir()
        for name, text in FAKES.items():
            (path / "fakes" / name).write_text(text)
            (path / "fakes" / name).chmod(0o755)
        for name in (*CONTENT, UNUSED):
            (path / "package" / name).parent.mkdir(parents=True, exist_ok=True)
            (path / "package" / name).write_text(name)
        (path / "package/DEBIAN").mkdir()
        (path / "package/DEBIAN/control").write_text(CONTROL)
        package = ["dpkg-deb", "--root-owner-group", "-Znone", "--build", path / "package"]
        subprocess.run([*package, self.project / "kernel.deb"], stdout=subprocess.DEVNULL, check=True)
        self.environment = {"PATH": f"{path}/fakes:/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8"}

    def start(self, *command):
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        # A signal that the tests were started to ignore, as by nohup, bash could not trap.
        command = ["env", "--default-signal=HUP,INT,TERM", "tools/real-kernel", *command]
        return subprocess.Popen(command, cwd=self.project, env=self.environment, text=True, **pipes)

    def run(self, *command):
        process = self.start(*command)
        output, errors = process.communicate(timeout=60)
        return process.returncode, output, errors

    def emulator_options(self):
        return (self.project / "arguments").read_text().splitlines()

    def places(self):
        return [entry.name for entry in self.project.glob("build/real-kernel?*") if entry.is_dir()]


@pytest.fixture
def tree(tmp_path):
    return Tree(tmp_path)


def test_output_errors_and_status_of_the_command_come_through(tree):
    status, output, errors = tree.run(
        "bash", "-c", 'printf "<%s>" "$@"; echo wrong >&2; exit 7', "bash", "a  b", "", "$HOME"
    )

    assert (status, output) == (7, "<a  b><><$HOME>")
    assert errors == "\nUnpacking a kernel\nwrong\n"
    assert tree.places() == []


def test_the_kernel_is_unpacked_once_with_what_it_takes(tree):
    tree.run("true")

    kernel = tree.project / "build/real-kernel"
    assert (kernel / "depmod-6.1.0-1-amd64").exists()
    assert all((kernel / name).exists() for name in CONTENT)
    assert not (kernel / UNUSED).exists()
    assert not list(kernel.glob("*.deb"))
    assert str(next(kernel.glob("boot/*")).relative_to(tree.project)) in tree.emulator_options()
    laid = {name.removeprefix("./") for name in (tree.project / "first-root").read_text().splitlines()}
    assert {"init", "order", "modules/a.ko", "modules/b.ko", "usr/bin/busybox"} <= laid
    assert tree.run("true") == (0, "", "")


@pytest.mark.parametrize("options, counts", [([], False), (["--count"], True)])
def test_instructions_are_counted_on_request(tree, options, counts):
    tree.run(*options, "true")

    assert ("-icount" in tree.emulator_options()) == counts
    assert not any("kvm" in option for option in tree.emulator_options())


def test_a_kernel_that_can_not_be_fetched_is_told_in_one_line(tree):
    (tree.project / "unreachable").touch()

    status, output, errors = tree.run("true")

    assert (status, output) == (1, "")
    assert errors.splitlines()[2:] == [
        "The kernel can't be fetched: check the network and this machine's package sources, then try again."
    ]


def test_a_machine_that_ends_before_its_command_is_told(tree):
    (tree.project / "refuse").touch()

    status, output, errors = tree.run("true")

    assert (status, output) == (1, "")
    assert errors.endswith("qemu: no memory\nThe kernel did not come to the end of the command.\n")
    assert tree.places() == []


@pytest.mark.parametrize("arguments", [[], ["--count"], ["--fast", "true"]])
def test_wrong_arguments_are_told_their_form(tree, arguments):
    assert tree.run(*arguments) == (1, "", "Usage: tools/real-kernel [--count] COMMAND...\n")


def test_another_processor_is_refused(tree):
    (tree.project / "processor").write_text("arm64\n")

    status, output, errors = tree.run("true")

    assert (status, output) == (1, "")
    assert errors == "The kernel is one for amd64, and so are the programs that it runs.\n"


def command_line(pid):
    try:
        with open(f"/proc/{pid}/cmdline") as file:
            return file.read()
    except OSError:
        return ""  # it ended just now


def emulators(tree):
    return [pid for pid in machine_pids() if f"path={tree.project}" in command_line(pid)]


@pytest.mark.parametrize("number, status", [(signal.SIGTERM, 143), (signal.SIGINT, 130), (signal.SIGHUP, 129)])
def test_a_signal_ends_all_of_it_and_leaves_nothing(tree, number, status):
    process = tree.start("wait")
    assert process.stdout.readline() == "here\n"
    assert emulators(tree)

    process.send_signal(number)

    assert process.wait(30) == status
    assert emulators(tree) == []
    assert tree.places() == []


def test_when_it_is_killed_the_machine_goes_too_and_the_next_run_clears_up(tree):
    process = tree.start("wait")
    assert process.stdout.readline() == "here\n"

    process.kill()
    process.wait()

    assert wait_for(lambda: not emulators(tree), what="the emulator to end")
    assert len(tree.places()) == 1
    tree.run("true")
    assert tree.places() == []
