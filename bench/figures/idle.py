"""What a minute costs in which nobody asks for anything."""

import time

from rounds import Row
from services import MINIMAL, NODEKEEP, Running

SECONDS = 60
AT_REST = 2.0  # seconds


def measure(_quick):
    with Running(NODEKEEP) as own, Running(MINIMAL) as peer:
        services = {NODEKEEP.label: own, MINIMAL.label: peer}
        for service in services.values():
            service.settle(AT_REST)
        begin = {label: used(service) for label, service in services.items()}
        time.sleep(SECONDS)
        end = {label: used(service) for label, service in services.items()}
    return [
        Row("idle for a minute", title, unit, {label: [end[label][index] - begin[label][index]] for label in services})
        for index, (title, unit) in enumerate((("wake-ups", ""), ("processor time", "µs")))
    ]


def used(service):
    return service.wake_ups(), service.processor_seconds() * 1e6
