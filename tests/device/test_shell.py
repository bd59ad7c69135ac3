"""The shell inside a device."""

import subprocess

import terminal
import traces


def test_the_prompt_names_the_device_as_it_is_called_now(make_device):
    device = make_device()
    device.start(daemon=False)

    with terminal.Terminal([traces.LAUNCHER, "shell", "--state", device.state.directory]) as screen:
        screen.wait_for("device node-4711[^\n]*# ")
        screen.type("echo mill-7 >/proc/sys/kernel/hostname")
        screen.wait_for("device mill-7[^\n]*# ")
        screen.type("exit 7")
        screen.rest()

    assert screen.process.returncode == 7


def test_without_a_terminal_there_is_no_prompt(make_device):
    device = make_device()
    device.start(daemon=False)
    command = [traces.LAUNCHER, "shell", "--state", device.state.directory]

    result = subprocess.run(command, input="hostname\nexit 7\n", capture_output=True, text=True)

    assert (result.returncode, result.stdout, result.stderr) == (7, "node-4711\n", "")
