"""How one talks to process 1 of the device: one JSON object a request and one a reply, each a line, over a socket."""

import json
import socket

SOCKET = "/dev/.device/control"


class Refused(Exception):
    """Process 1 could not do what it was asked; the text says why."""


def ask(path, request, limit=30):
    """The reply to `request` (a dictionary with "do" and its arguments). Raises OSError and Refused."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(limit)
        connection.connect(path)
        connection.sendall(json.dumps(request).encode() + b"\n")
        line = connection.makefile("rb").readline()
    if not line:
        raise Refused("the device ended before it answered")
    reply = json.loads(line)
    if "error" in reply:
        raise Refused(reply["error"])
    return reply
