"""Port 80 of the device's own network: the web server starts with the first client, whom few devices ever see."""

import os
import select
import socket


def main(tell_ready):
    listener = socket.create_server(("", 80))
    tell_ready()
    select.select([listener], [], [])
    listener.set_inheritable(True)
    server = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../webserver")
    os.execv(server, [server, str(listener.fileno())])
