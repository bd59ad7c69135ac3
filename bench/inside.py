#!/usr/bin/python3 -B
"""Takes one kind of measurement inside the simulated device and prints what it has brought: see measure.py."""

import importlib
import json
import sys


def main():
    name, quick = sys.argv[1], sys.argv[2] == "quick"
    rows = importlib.import_module(f"figures.{name}").measure(quick)
    print(json.dumps([row._asdict() for row in rows]))


main()
