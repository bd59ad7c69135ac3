"""A property read over the bus: how long one takes, what it costs the service, and many under way at once."""

from firmware import make_firmware
from rounds import Row, in_turns, parts
from services import MINIMAL, NODEKEEP, Running

PINNED = True
CALLS = 3000


def measure(quick):
    rows = []
    for records in [0, 1000] if quick else [0, 10, 100, 1000]:
        make_firmware(records)
        rows += measured_beside(MINIMAL, records, quick)
    return rows


def measured_beside(peer, records, quick):
    def figures(service):
        """Microseconds: of a call, of processor time for one, of one among many."""
        single = 0 if quick else service.single_seconds(CALLS)
        before = service.processor_seconds()
        pipelined = service.pipelined_seconds(CALLS)
        return [each * 1e6 for each in (single, (service.processor_seconds() - before) / CALLS, pipelined)]

    with Running(NODEKEEP) as own, Running(peer) as other:
        own.settle(0.5)
        values = in_turns(9, {NODEKEEP.label: lambda: figures(own), peer.label: lambda: figures(other)})
    case = f"{records:,} records on the bus"
    processor = Row("Get, processor time", case, "µs", parts(values, 1))
    if quick:
        return [processor]
    single = Row("Get, median", case, "µs", parts(values, 0), records)
    return [single, processor, Row("Get, pipelined", case, "µs", parts(values, 2))]
