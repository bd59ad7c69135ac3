"""Start-up, from the start of the program to its first answered call.

The tools that belong to the device and not to the daemon do nothing."""

import os

from rounds import PROCESSOR_TIME, Row, in_turns, scaled
from services import MINIMAL, NODEKEEP, Running, all_peers

PINNED = True
TOOLS = "/run/bench-tools"


def replaced_tools():
    os.makedirs(TOOLS, exist_ok=True)
    for tool in ("bareboxenv", "rm", "route"):
        os.symlink("/usr/bin/true", f"{TOOLS}/{tool}")
    return {"PATH": f"{TOOLS}:{os.environ['PATH']}"}


def measure(quick):
    environment = replaced_tools()

    def start_seconds(service):
        with Running(service, environment) as running:
            return running.processor_seconds() if PROCESSOR_TIME else running.start_seconds

    services = [NODEKEEP, MINIMAL] if quick else [NODEKEEP, *all_peers()]
    takes = {service.label: lambda service=service: start_seconds(service) for service in services}
    return [Row("start-up", "", "ms", scaled(in_turns(15, takes), 1000))]
