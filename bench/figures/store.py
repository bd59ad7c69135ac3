"""A store that is read, has one value changed and is saved, beside programs that bring the same bytes to the disk."""

import itertools
import os

from rounds import Row, Tasks, command_seconds, in_turns, scaled
from services import PROGRAMS

KEEPS_FILES = True
PLACE = "/srv/bench"
CHANGED = "setting2"  # in the second line, before all that may have to move


def measure(quick):
    os.makedirs(PLACE, exist_ok=True)
    sizes = [1000, 10000] if quick else [100, 1000, 10000, 100000, 1000000]
    return [Row("store", f"{lines:,} lines", "ms", measured(lines, quick), lines) for lines in sizes]


def measured(lines, quick):
    content = store_content(lines)
    store, copied, edited = (f"{PLACE}/{name}{lines}" for name in ("store", "copied", "edited"))
    for path in (store, copied, edited):
        with open(path, "wb") as file:
            file.write(content)
    os.sync()
    edit = f"s/^{CHANGED}=.*/{CHANGED}=12345678/"
    with Tasks(f"{PROGRAMS}/StoreBench", store, CHANGED) as own:
        takes = {
            "nodekeep": lambda: own.seconds("change"),
            "dd conv=fsync": lambda: command_seconds("dd", f"if={edited}", f"of={copied}", "conv=fsync"),
        }
        if not quick:
            takes["read, write, fsync"] = lambda: own.seconds("copy")
            takes["sed -i, sync"] = lambda: command_seconds("sh", "-c", f"sed -i '{edit}' {edited} && sync {edited}")
        if not quick and lines <= 10000:  # each variable costs it a walk over those before
            takes["fw_setenv"] = environment_changer(lines)
        values = in_turns(7, takes)
    verify(store, content)
    return scaled(values, 1000)


def store_content(lines):
    """Every other line is a comment; no more variables than a store takes."""
    text = "".join(
        f"{setting(line)}=00000000\n" if line % 2 == 0 else f"# about {setting(line + 1)}\n"
        for line in range(1, lines + 1)
    )
    return text.encode("ascii")


def setting(line):
    return f"setting{line}"


def verify(path, content):
    """What was measured has to be the change of one value and nothing else."""
    with open(path, "rb") as file:
        before, after = content.split(b"\n"), file.read().split(b"\n")
    changed = [new for old, new in zip(before, after, strict=True) if old != new]
    if [line.partition(b"=")[0] for line in changed] != [CHANGED.encode()]:
        raise ValueError(f"{path} does not hold what was to be saved")


def environment_changer(lines):
    """The boot loader's own tool, on an environment of as many variables as the store has."""
    image, defaults, configuration = (f"{PLACE}/{name}" for name in ("env", "env.txt", "fw_env.config"))
    size = 1 << 20
    with open(image, "wb") as file:
        file.truncate(size)
    with open(configuration, "w", encoding="ascii") as file:
        file.write(f"{image} 0x0 {size:#x}\n")
    with open(defaults, "w", encoding="ascii") as file:
        file.writelines(f"{setting(line)}=00000000\n" for line in range(2, lines + 1, 2))
    tool = ("fw_setenv", "-c", configuration, "-f", defaults)
    numbers = itertools.count(1)

    def change():
        return command_seconds(*tool, CHANGED, f"{next(numbers):08d}")

    change()  # which makes the environment
    return change
