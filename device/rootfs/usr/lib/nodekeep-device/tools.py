"""What the stand-ins for system tools share: the record of their calls, and the state of the CAN port."""

import json
import time

LOG = "/var/log/device-tools.jsonl"
PORT = "can0"
PORT_STATE = "/run/can0.json"


def record(tool, arguments):
    """Adds a call to the record. Lines of this length are appended whole, whoever else writes."""
    stamp = time.strftime("%Y-%m-%dT%H:%M:%S")
    with open(LOG, "a") as file:
        file.write(json.dumps({"time": stamp, "tool": tool, "args": arguments}) + "\n")


def port_state():
    """{"up", "bitrate", "restart_ms"} of the CAN port; bitrate 0 while it has never been up."""
    try:
        with open(PORT_STATE) as file:
            return json.load(file)
    except FileNotFoundError:
        return {"up": False, "bitrate": 0, "restart_ms": 0}


def change_port(**changes):
    state = port_state() | changes
    with open(PORT_STATE, "w") as file:
        json.dump(state, file)
