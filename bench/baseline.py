"""The ratios that the quick form has to reach again, in baseline.json."""

import json
import os
import statistics

from report import ratios

FILE = os.path.join(os.path.dirname(os.path.realpath(__file__)), "baseline.json")
ALLOWED = 1.5


def accept(rows):
    """Makes what was measured what has to be reached."""
    reached = {name: round(ratio, 2) for name, ratio in ratios(rows, statistics.median).items()}
    with open(FILE, "w", encoding="utf-8") as file:
        json.dump(reached, file, indent=2, ensure_ascii=False)
        file.write("\n")


def read():
    with open(FILE, encoding="utf-8") as file:
        return json.load(file)


def worse(rows, known):
    """A line for each ratio that is worse by half, or that nobody has accepted yet. What else goes on in the machine
    spoils the ratio of the medians or that of the best values, and rarely both: the lower one counts."""
    lines = []
    best = ratios(rows, min)
    for name, median in ratios(rows, statistics.median).items():
        ratio = min(median, best[name])
        if name not in known:
            lines.append(f"{name}: {ratio:.2f}, and bench/baseline.json does not know it")
        elif ratio > known[name] * ALLOWED:
            lines.append(f"{name}: {ratio:.2f}, where {known[name]:.2f} was reached")
    return lines
