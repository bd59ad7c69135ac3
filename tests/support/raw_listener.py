#!/usr/bin/python3
"""A server on loopback that keeps what it hears and answers as it is told: raw_listener.py PORT MANNER FILE.

Every connection becomes a line of JSON in FILE as soon as its request is there in full, byte by byte.
MANNER says what it does then:

answer     answers with 200
fail       answers with 500
redirect   sends the client to "/elsewhere", with a status that asks for the same method again
hang-up    closes the connection
reset      breaks the connection off
silent     never answers
half       sends half an answer and closes
"""
import json
import re
import socket
import struct
import sys
import threading

ANSWER = b"HTTP/1.1 %s\r\nContent-Length: %d\r\n%s\r\n%s"
OK = ANSWER % (b"200 OK", 2, b"", b"{}")
REPLIES = {
    "answer": OK,
    "fail": ANSWER % (b"500 No", 0, b"", b""),
    "redirect": ANSWER % (b"307 Temporary", 0, b"Location: /elsewhere\r\n", b""),
    "half": OK[:-1],
    "hang-up": b"",
    "reset": b"",
}
open_connections = []


def request(connection):
    heard = b""
    while piece := connection.recv(65536):
        heard += piece
        length = re.search(rb"(?i)\r\ncontent-length: (\d+)", heard)
        head, found, body = heard.partition(b"\r\n\r\n")
        if found and len(body) >= (int(length[1]) if length else 0):
            break
    return heard


def serve(connection, manner, path):
    heard = request(connection)
    with open(path, "a") as file:
        file.write(json.dumps(heard.decode("latin-1")) + "\n")
    if manner == "silent":
        open_connections.append(connection)
        return
    connection.sendall(REPLIES[manner])
    if manner == "reset":
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def main(port, manner, path):
    listener = socket.create_server(("", int(port)), backlog=1000)
    while True:
        connection, _ = listener.accept()
        threading.Thread(target=serve, args=(connection, manner, path), daemon=True).start()


main(*sys.argv[1:])
