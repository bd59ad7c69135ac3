"""How tools/bare-machine runs a command and what is left of it, on a machine that a fake mmdebstrap makes at once."""

import os
import shutil
import signal
import subprocess

import pytest
from simdevice import PROJECT, wait_for
from traces import descendants, gone, machine_mounts, namespaces_of

# Bare enough: what the script and the commands here call, with the libraries.
MMDEBSTRAP = """#!/bin/sh -e
for root in "$@"; do case $root in */root) break ;; esac; done
[ ! -e "${root%/*/*}/refuse" ] || { echo "E: no such mirror" >&2; exit 3; }
mkdir -p "$root/etc" "$root/proc" "$root/sys" "$root/run" "$root/dev" "$root/tmp" "$root/root" "$root/usr/bin"
ln -s usr/bin "$root/bin"
echo root:x:0:0:root:/root:/bin/bash >"$root/etc/passwd"
echo root:x:0: >"$root/etc/group"
for program in bash cat chown env ls mount rmdir setpriv sh sleep stat umount; do
    path=$(command -v $program)
    cp -L "$path" "$root/usr/bin/"
    ldd "$path" | grep -o '/[^ ]*' | while read -r library; do
        [ -e "$root$library" ] || { mkdir -p "$root${library%/*}" && cp -L "$library" "$root$library"; }
    done
done
"""

FAKES = {
    "mmdebstrap": MMDEBSTRAP,
    "dpkg-query": "#!/bin/sh\nprintf installed\n",
    "apt-get": "#!/bin/sh\necho http://deb.example/debian bookworm main\n",
}


class Tree:
    """A project of its own with the script in it, under git."""

    def __init__(self, path):
        self.path = path
        self.project = path / "project"
        for name in ("tools/bare-machine", "tools/common.sh", "device/packages.list"):
            (self.project / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(os.path.join(PROJECT, name), self.project / name)
        (self.project / "committed").write_text("as committed\n")
        (self.project / ".gitignore").write_text("/build/\n")
        (path / "fakes").mkdir()
        for name, text in FAKES.items():
            (path / "fakes" / name).write_text(text)
            (path / "fakes" / name).chmod(0o755)
        self.environment = {
            "PATH": f"{path}/fakes:/usr/sbin:/usr/bin:/sbin:/bin",
            "LANG": "C.UTF-8",
            "HOME": str(path),
            **{f"GIT_{who}_{what}": "x" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")},
        }
        for command in (["init", "--quiet"], ["add", "."], ["commit", "--quiet", "-m", "all"]):
            subprocess.run(["git", *command], cwd=self.project, env=self.environment, check=True)

    def start(self, *command):
        pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
        # A signal that the tests were started to ignore, as by nohup, bash could not trap.
        command = ["env", "--default-signal=HUP,INT,TERM", "tools/bare-machine", *command]
        return subprocess.Popen(command, cwd=self.project, env=self.environment, text=True, **pipes)

    def run(self, *command):
        """The status and the lines that the command itself printed."""
        process = self.start(*command)
        output = process.communicate(timeout=60)[0]
        return process.returncode, output.partition("Making the machine: ")[2].splitlines()[1:]

    def places(self):
        build = self.project / "build"
        return [name for name in os.listdir(build) if os.path.isdir(build / name)] if build.exists() else []


@pytest.fixture
def tree(tmp_path):
    return Tree(tmp_path)


def inside(process):
    """The namespaces of the machine, once its command has said "here"."""
    for line in process.stdout:
        if line == "here\n":
            break
    own = namespaces_of(os.getpid())
    return next(spaces for spaces in map(namespaces_of, descendants(process.pid)) if not own & spaces - net_of(own))


def net_of(spaces):
    """The network is this machine's."""
    return {space for space in spaces if space.startswith("net:")}


HERE = ["sh", "-c", "echo here; sleep 600"]


@pytest.mark.parametrize("status", [0, 7, 255])
def test_the_status_of_the_command_comes_through(tree, status):
    assert tree.run("sh", "-c", f"exit {status}") == (status, [])


def test_the_command_runs_as_root_in_a_machine_of_its_own(tree):
    about = "cat /proc/sys/kernel/hostname; cat /etc/passwd; echo $$ ~ $PATH; ls /home 2>/dev/null; pwd"

    status, lines = tree.run("sh", "-c", about)

    assert status == 0
    assert lines[:2] == ["bare-machine", "root:x:0:0:root:/root:/bin/bash"]
    assert lines[2].endswith(" /root /usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin")
    assert lines[3:] == ["/root/nodekeep"]


def test_the_tree_is_the_last_commit_with_what_has_been_changed_since(tree):
    (tree.project / "committed").write_text("changed\n")
    (tree.project / "unknown").write_text("not added\n")

    assert tree.run("sh", "-c", "cat committed; ls") == (0, ["changed", "committed", "device", "tools"])


def test_what_is_to_be_brought_along_is_there(tree):
    (tree.project / "build/made").mkdir(parents=True)
    (tree.project / "build/made/file").write_text("made\n")

    assert tree.run("--bring", "build/made", "cat", "build/made/file") == (0, ["made"])

    process = tree.start("--bring", "build/none", "true")
    assert process.communicate(timeout=60)[0] == "There is no build/none to be brought along.\n"
    assert process.returncode == 1


def test_arguments_arrive_as_they_are(tree):
    assert tree.run("sh", "-c", 'printf "<%s>\\n" "$@"', "sh", "a  b", "", "$HOME") == (0, ["<a  b>", "<>", "<$HOME>"])


def test_a_machine_that_can_not_be_made_is_told_in_one_line(tree):
    (tree.project / "build").mkdir()
    (tree.project / "build/refuse").touch()

    process = tree.start("true")
    output = process.communicate(timeout=60)[0]

    assert process.returncode == 1
    assert output.endswith(
        "E: no such mirror\n"
        "The machine can't be made: check the network and the package sources of this machine, then try again.\n"
    )
    assert tree.places() == []


@pytest.mark.parametrize("number, status", [(signal.SIGTERM, 143), (signal.SIGINT, 130), (signal.SIGHUP, 129)])
def test_a_signal_ends_all_of_it_and_leaves_nothing(tree, number, status):
    mounts = machine_mounts()
    process = tree.start(*HERE)
    machine = inside(process)

    process.send_signal(number)

    assert process.wait(30) == status
    assert gone(machine - net_of(machine))
    assert tree.places() == []
    assert machine_mounts() == mounts


def test_when_it_is_killed_the_machine_goes_too_and_the_next_run_clears_up(tree):
    process = tree.start(*HERE)
    machine = inside(process)

    process.kill()
    process.wait()

    assert gone(machine - net_of(machine))
    assert len(tree.places()) == 1
    assert tree.run("sh", "-c", "exit 0")[0] == 0
    assert tree.places() == []


def test_two_at_once_do_not_touch_each_other(tree):
    first = tree.start(*HERE)
    inside(first)

    assert tree.run("sh", "-c", "exit 3")[0] == 3

    assert first.poll() is None
    assert len(tree.places()) == 1
    first.terminate()
    assert wait_for(lambda: tree.places() == [])
    first.communicate()
