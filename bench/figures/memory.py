"""Private dirty memory: idle after the start, and after many calls."""

from rounds import Row, in_turns, parts
from services import MINIMAL, NODEKEEP, Running, all_peers

AT_REST = 1.5  # seconds: the daemon gives freed memory back after one


def measure(quick):
    calls = [0, 10000] if quick else [0, 1000, 10000, 100000]

    def sizes_kib(service, counts):
        with Running(service) as running:
            taken, done = [], 0
            for count in counts:
                if count:
                    running.pipelined_seconds(count - done)
                done = count
                running.settle(AT_REST)
                taken.append(running.own_kib())
            return taken

    def takes(services, counts):
        return {service.label: lambda service=service: sizes_kib(service, counts) for service in services}

    rounds = 1 if quick else 5
    values = in_turns(rounds, takes([NODEKEEP, MINIMAL], calls))
    rows = [
        Row("memory", f"{count:,} calls later" if count else "idle", "KiB", parts(values, i), count)
        for i, count in enumerate(calls)
    ]
    if not quick:
        others = [NODEKEEP, *(peer for peer in all_peers() if peer != MINIMAL)]
        rows.append(Row("memory", "idle", "KiB", parts(in_turns(rounds, takes(others, [0])), 0)))
    return rows
