"""How ./run, ./test and the tools show the progress of a long command, and what they keep of its words."""

import re
import subprocess

import pytest
import simdevice
import terminal

SOURCE = "set -euo pipefail; . tools/common.sh;"


def shell(script, *arguments):
    return ["bash", "-c", f"{SOURCE} {script}", "bash", *arguments]


def counted(command, log):
    """What a command's progress looks like in a file."""
    script = shell(f'{{ {command}; }} | counted "Work" "$1"', log)
    return subprocess.run(script, cwd=simdevice.PROJECT, capture_output=True, text=True)


@pytest.fixture
def log(tmp_path):
    return tmp_path / "log"


def test_a_file_gets_plain_lines(log):
    result = counted("printf '[%d/3] Building\\n' 1 2 3", log)

    assert (result.returncode, result.stderr) == (0, "")
    assert re.fullmatch(r"(  Work: [ -~]+\n)+", result.stdout)
    assert re.search(r"  Work: 0:0\d\n\Z", result.stdout)


@pytest.mark.slow
def test_a_file_gets_the_count_each_half_minute(log):
    result = counted("echo '[12/40] Building'; sleep 31; echo '[40/40] Linking'", log)

    assert re.match(r"  Work: 12 of 40, 0:3\d\n", result.stdout)


@pytest.mark.parametrize(
    ("words", "lines"),
    [
        ("one\\n\\ntwo\\n", ["one", "", "two"]),
        ("one\\nthe last", ["one", "the last"]),
        ("the last", ["the last"]),
        ("  \\\\n  back\\\\slash  \\n", ["  \\n  back\\slash  "]),
    ],
    ids=["an empty one", "the last without its end", "one without its end", "blanks and backslashes"],
)
def test_every_line_stays_in_the_log(log, words, lines):
    counted(f"printf '{words}'", log)

    assert log.read_text().splitlines() == lines


def test_a_line_that_comes_in_two_pieces_stays_one_in_the_log(log):
    counted("printf 'a first half'; sleep 1.5; printf ', a second half\\n'; echo another", log)

    assert log.read_text().splitlines() == ["a first half, a second half", "another"]


def test_the_log_goes_on_behind_what_it_holds(log):
    log.write_text("before\n")

    counted("echo more", log)

    assert log.read_text() == "before\nmore\n"


@pytest.mark.parametrize("status", [0, 1, 42])
def test_the_status_of_the_command_is_passed_on(log, status):
    result = counted(f"echo words; (exit {status})", log)

    assert result.returncode == status
    assert log.read_text() == "words\n"


@pytest.mark.parametrize(
    ("lines", "progress"),
    [
        (["[1/40] Scanning x.cpp", "[12/40] Building x.o"], "12 of 40"),
        (["      Start  3: X", " 3/76 Test  #3: X ................   Passed    0.31 sec"], "3 of 76"),
        (["dlstatus:3:10:Retrieving file 3 of 25 (1s remaining)"], "3 of 25"),
        (
            ["gw0 [120] / gw1 [120]", "", "[gw3] [  0%] PASSED tests/x.py::y ", "[gw0] [  1%] PASSED tests/x.py::z "],
            "2 of 120",
        ),
    ],
    ids=["ninja", "ctest", "apt", "pytest"],
)
def test_a_terminal_has_one_line_with_count_total_and_time(log, lines, progress):
    command = shell('counted "Work" "$1"', log)
    with terminal.Terminal(command, stdin=subprocess.PIPE, cwd=simdevice.PROJECT) as screen:
        for line in lines:
            screen.process.stdin.write(f"{line}\n".encode())
        screen.process.stdin.flush()

        meanwhile = screen.wait_for(rf"\r[^\r\n]*Work: {progress}, \d+:\d\d")

        screen.process.stdin.close()
        end = screen.rest()
    assert "\n" not in meanwhile
    assert end.count("\n") == 1
    assert re.search(r"\r\x1b\[K  Work: 0:\d\d\r\n\Z", end)
    assert log.read_text().splitlines() == lines
