"""What data frames on the CAN port cost the listener for its errors, beside candump. Each has the port to itself: of
several, the order in which they are woken would count."""

import functools
import socket
import subprocess
import time

from rounds import Row, in_turns
from services import PROGRAMS, Process

DEBIANS_KERNEL = True
PORT = "can0"
FRAMES = 1000
BURST = 50  # what the queue of a socket takes
FRAME = bytes.fromhex("2301000008000000") + bytes(8)
LISTENERS = {"nodekeep's listener": [f"{PROGRAMS}/CanBench"], "candump": ["candump", PORT]}


def measure(_quick):
    """Nothing where the kernel has no virtual port."""
    made = subprocess.run(["ip", "link", "add", PORT, "type", "vcan"], stderr=subprocess.DEVNULL, check=False)
    if made.returncode != 0:
        return []
    subprocess.run(["ip", "link", "set", PORT, "up"], check=True)
    with socket.socket(socket.AF_CAN, socket.SOCK_RAW, socket.CAN_RAW) as port:
        port.setsockopt(socket.SOL_CAN_RAW, socket.CAN_RAW_FILTER, b"")  # it hears nothing
        port.bind((PORT,))
        takes = {label: functools.partial(frames_cost, port, command) for label, command in LISTENERS.items()}
        return [Row("CAN", "processor time of 1,000 data frames", "ms", in_turns(5, takes))]


def frames_cost(port, command):
    """In milliseconds, the second time: the first one is for what a program does once."""
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as program:
        listener = Process(program.pid)
        try:
            wait_for_listener()
            send_frames(port, listener)
            before = listener.processor_seconds()
            send_frames(port, listener)
            return (listener.processor_seconds() - before) * 1000
        finally:
            program.kill()


def wait_for_listener():
    end = time.monotonic() + 60
    while PORT not in receivers():
        if time.monotonic() > end:
            raise TimeoutError(f"nobody listens to {PORT}")
        time.sleep(0.05)


def receivers():
    """What the kernel knows of those who hear every data frame."""
    with open("/proc/net/can/rcvlist_all", encoding="ascii") as file:
        return file.read()


def send_frames(port, listener):
    """Returns when the listener has taken all of them."""
    for _ in range(FRAMES // BURST):
        for _ in range(BURST):
            port.send(FRAME)
        time.sleep(0.01)
    listener.settle(0.2)
