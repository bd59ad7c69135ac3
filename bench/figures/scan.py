"""The scan of the firmware on the data partition, beside a look at the same files."""

from firmware import PLACE, make_firmware
from rounds import Row, Tasks, command_seconds, in_turns, scaled
from services import PROGRAMS

LOOK = f"find {PLACE} && cat {PLACE}/*/control"


def measure(quick):
    return [measured(count) for count in ([1000] if quick else [10, 100, 1000])]


def measured(count):
    make_firmware(count)
    with Tasks(f"{PROGRAMS}/ScanBench", str(count)) as own:
        takes = {"nodekeep": lambda: own.seconds("scan"), "find, cat": lambda: command_seconds("sh", "-c", LOOK)}
        values = in_turns(7, takes)
    return Row("scan", f"{count:,} directories", "ms", scaled(values, 1000), count)
