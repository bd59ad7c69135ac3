"""What data frames on the CAN port cost the listener for its errors, beside candump. Both get the same frames."""

import socket
import subprocess
import time

from rounds import Row
from services import PROGRAMS, Process

PORT = "can0"
FRAMES = 1000
BURST = 50  # what the queue of a socket takes
FRAME = bytes.fromhex("2301000008000000") + bytes(8)


def measure(_quick):
    """Nothing where the kernel has no virtual port."""
    made = subprocess.run(["ip", "link", "add", PORT, "type", "vcan"], stderr=subprocess.DEVNULL, check=False)
    if made.returncode != 0:
        return []
    subprocess.run(["ip", "link", "set", PORT, "up"], check=True)
    with (
        subprocess.Popen([f"{PROGRAMS}/CanBench"], stdout=subprocess.PIPE) as own,
        subprocess.Popen(["candump", PORT], stdout=subprocess.DEVNULL) as candump,
        socket.socket(socket.AF_CAN, socket.SOCK_RAW, socket.CAN_RAW) as port,
    ):
        port.bind((PORT,))
        own.stdout.readline()
        listeners = {"nodekeep's listener": Process(own.pid), "candump": Process(candump.pid)}
        values = {label: [] for label in listeners}
        for _ in range(9):
            for label, milliseconds in frames_cost(port, listeners).items():
                values[label].append(milliseconds)
        own.kill()
        candump.kill()
    return [Row("CAN", "processor time of 1,000 data frames", "ms", values)]


def frames_cost(port, listeners):
    for listener in listeners.values():
        listener.settle(0.2)
    before = {label: listener.processor_seconds() for label, listener in listeners.items()}
    for _ in range(FRAMES // BURST):
        for _ in range(BURST):
            port.send(FRAME)
        time.sleep(0.01)
    for listener in listeners.values():
        listener.settle(0.2)
    return {label: (listener.processor_seconds() - before[label]) * 1000 for label, listener in listeners.items()}
