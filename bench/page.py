"""Writes what was measured into docs/performance.md, between its marks, and plots what grows."""

import os
import platform
import re
import statistics
import subprocess

from report import HEAD, cells, number, table_markdown

PROJECT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
DOCS = f"{PROJECT}/docs"
PACKAGES = ("libqt6core6", "dbus-daemon", "libsystemd0", "systemd", "connman", "rauc", "coreutils", "sed", "findutils")
PACKAGES += ("tar", "libubootenv-tool", "g++")

SVG = {"svg.hashsalt": "nodekeep", "svg.fonttype": "none", "font.size": 9}


def output(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def commit():
    """The last one that has changed what was measured."""
    git = ("git", "-c", "safe.directory=*", "-C", PROJECT)
    sources = ("--", "src", "cmake")
    name = output(*git, "log", "-1", "--format=%h, %s", *sources).strip()
    return f"{name}, and changes" if output(*git, "status", "--porcelain", *sources) else name


def version(package):
    """Of a package, which may only be unpacked: the package sources have just that one then."""
    installed = subprocess.run(
        ["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, text=True, check=False
    )
    if installed.returncode == 0 and installed.stdout:
        return installed.stdout
    return re.search(r"^Version: (.*)$", output("apt-cache", "show", "--no-all-versions", package), re.MULTILINE)[1]


def conditions(load_before):
    """On what the figures rest."""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        processor = re.search(r"^(?:model name|Model)\s*: (.*)$", file.read(), re.MULTILINE)
    lines = [
        ("last commit in src", commit()),
        ("processors", f"{os.cpu_count()}, {processor[1] if processor else platform.machine()}"),
        ("kernel", platform.release().partition("-")[0]),
        ("load before and after", " and ".join(f"{load:.1f}" for load in (load_before, os.getloadavg()[0]))),
        *((package, version(package)) for package in PACKAGES),
    ]
    return table_markdown(("", ""), lines)


def write(rows, profile, sizes, load_before):
    """What has been measured, what a profile tells, and bytes by subsystem."""
    total, shares = sizes
    size_lines = [(name, number(size / 1024)) for name, size in [*shares, ("all of it", total)]]
    tables = {
        "figures": table_markdown(HEAD, cells(rows)),
        "profile": table_markdown(HEAD, cells(profile)),
        "size": table_markdown(("", "KiB"), size_lines),
        "conditions": conditions(load_before),
    }
    path = f"{DOCS}/performance.md"
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for name, table in tables.items():
        text = between_marks(text, name, table)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    plot(rows)


def between_marks(text, name, new):
    begin, end = f"<!-- {name}: written by bench/run -->\n", f"<!-- {name}: end -->\n"
    if begin not in text or end not in text:
        raise ValueError(f"docs/performance.md has no place for: {name}")
    return text[: text.index(begin) + len(begin)] + "\n" + new + "\n" + text[text.index(end) :]


def plot(rows):
    """A picture for each figure that grows with something: docs/performance-FIGURE.svg."""
    grown = {}
    for row in rows:
        if row.size:
            grown.setdefault(row.figure, []).append(row)
    for figure, points in grown.items():
        plot_growth(figure, points)


def plot_growth(figure, points):
    import matplotlib  # which the quick form does not need

    matplotlib.use("svg")
    from matplotlib import pyplot

    with pyplot.rc_context(SVG):
        picture, axes = pyplot.subplots(figsize=(6, 3.5), layout="constrained")
        for label in points[-1].values | points[0].values:
            known = [point for point in points if label in point.values]
            medians = [statistics.median(point.values[label]) for point in known]
            axes.plot([point.size for point in known], medians, marker="o", label=label)
        axes.set(xscale="log", yscale="log", title=figure, ylabel=points[0].unit)
        axes.set_xlabel(points[0].case.partition(" ")[2])  # without the number
        axes.grid(alpha=0.3)
        axes.legend()
        name = re.sub(r"\W+", "-", figure.lower())
        picture.savefig(f"{DOCS}/performance-{name}.svg", metadata={"Date": None})
        pyplot.close(picture)
