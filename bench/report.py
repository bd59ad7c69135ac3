"""What was measured, as tables for people and as the ratios that a change of the daemon is judged by."""

import statistics

HEAD = ("", "nodekeep", "beside", "", "ratio", "of the best")


def cells(rows):
    """A line for each program that the daemon is measured beside: medians, with the quartiles in brackets."""
    for row in rows:
        (_, own), *peers = row.values.items()
        what = ", ".join(filter(None, (row.figure, row.case, row.unit)))
        for peer, values in peers:
            ratios = (ratio_text(take(own), take(values)) for take in (statistics.median, min))
            yield what, spread(own), peer, spread(values), *ratios


def ratio_text(own, floor):
    return f"{own / floor:.2f}" if floor else "-"


def spread(values):
    """The median, and the quartiles where they differ from it."""
    middle = number(statistics.median(values))
    low, _, high = map(number, statistics.quantiles(values, method="inclusive")) if len(values) > 1 else [middle] * 3
    return middle if low == middle == high else f"{middle} ({low} to {high})"


def number(value):
    """With three digits, and all of those in front of the point."""
    digits = 0 if value >= 100 or value == int(value) else 1 if value >= 10 else 2 if value >= 0.1 else 4
    return f"{value:,.{digits}f}"


def table_text(rows):
    lines = [HEAD, *cells(rows)]
    widths = [max(map(len, column)) for column in zip(*lines)]
    return "\n".join("  ".join(map(str.ljust, line, widths)).rstrip() for line in lines) + "\n"


def table_markdown(head, lines):
    return "".join(f"| {' | '.join(line)} |\n" for line in [head, ["---"] * len(head), *lines])


def ratios(rows, take):
    """By name, of what `take` makes of the values of each."""
    found = {}
    for row in rows:
        (_, own), *peers = row.values.items()
        for peer, values in peers:
            found[", ".join(filter(None, (row.figure, row.case, peer)))] = take(own) / take(values)
    return found
