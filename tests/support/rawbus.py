"""D-Bus messages made by hand, good and bad, and a connection that sends any bytes and has many calls under way."""

import array
import itertools
import os
import socket
import struct
import time

BUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus")

CALL, RETURN, ERROR, SIGNAL = 1, 2, 3, 4
NO_REPLY_EXPECTED = 1
PATH, INTERFACE, MEMBER, ERROR_NAME, REPLY_SERIAL, DESTINATION, SENDER, SIGNATURE, UNIX_FDS = range(1, 10)
FIELD_TYPES = {PATH: "o", SIGNATURE: "g", REPLY_SERIAL: "u", UNIX_FDS: "u"}  # the others are texts

FIXED = {"y": "B", "b": "I", "n": "h", "q": "H", "i": "i", "u": "I", "x": "q", "t": "Q", "d": "d", "h": "I"}
ALIGNMENT = {"n": 2, "q": 2, "x": 8, "t": 8, "d": 8, "(": 8, "{": 8, "y": 1, "g": 1, "v": 1}  # of the others: 4
CLOSING = {"(": ")", "{": "}"}


def complete_types(signature):
    """The single complete types that a signature consists of."""
    types, begin = [], 0
    while begin < len(signature):
        end = type_end(signature, begin)
        types.append(signature[begin:end])
        begin = end
    return types


def type_end(signature, begin):
    while signature[begin] == "a":
        begin += 1
    opened = signature[begin]
    if opened not in CLOSING:
        return begin + 1
    depth = 0
    for position in range(begin, len(signature)):
        depth += (signature[position] in CLOSING) - (signature[position] in CLOSING.values())
        if depth == 0:
            return position + 1
    raise ValueError(f"unbalanced: {signature}")


def marshal(signature, values, order="<"):
    """The body of a message. A variant's value is a pair of its signature, of one type, and its value; a dictionary's
    is a list of pairs; a text or path or signature may be bytes, as they are to be sent."""
    data = bytearray()
    for each, value in zip(complete_types(signature), values, strict=True):
        append(data, each, value, order)
    return bytes(data)


def append(data, signature, value, order):
    kind = signature[0]
    align(data, ALIGNMENT.get(kind, 4))
    if kind in FIXED:
        data += struct.pack(order + FIXED[kind], value)
    elif kind in "sog":
        text = value if isinstance(value, bytes) else value.encode()
        data += struct.pack(order + ("B" if kind == "g" else "I"), len(text)) + text + b"\0"
    elif kind == "v":
        append(data, "g", value[0], order)
        append(data, *value, order)
    elif kind == "a":
        append_array(data, signature[1:], value, order)
    else:
        for each, part in zip(complete_types(signature[1:-1]), value, strict=True):
            append(data, each, part, order)


def append_array(data, element, values, order):
    start = len(data)
    data += bytes(4)
    align(data, ALIGNMENT.get(element[0], 4))
    begin = len(data)
    if element == "y":
        data += bytes(values)
    else:
        for value in values:
            append(data, element, value, order)
    data[start : start + 4] = struct.pack(order + "I", len(data) - begin)


def align(data, boundary):
    data += bytes(-len(data) % boundary)


def message(kind, fields, signature="", values=(), *, serial=1, flags=0, order="<", body=None, version=1):
    """A message's bytes. `fields` are its header's, by number; `body` stands for the values as it is."""
    body = marshal(signature, values, order) if body is None else body
    if signature:
        fields = {**fields, SIGNATURE: signature}
    start = struct.pack(order + "BBBBII", ord("l" if order == "<" else "B"), kind, flags, version, len(body), serial)
    header = bytearray(start)
    entries = [(code, (FIELD_TYPES.get(code, "s"), value)) for code, value in fields.items()]
    append_array(header, "(yv)", entries, order)
    align(header, 8)
    return bytes(header) + body


def call_fields(destination, path, interface, member):
    fields = {DESTINATION: destination, PATH: path, INTERFACE: interface, MEMBER: member}
    return {code: value for code, value in fields.items() if value is not None}


class Disconnected(Exception):
    """The bus has cut the connection off."""


class RawBus:
    """A connection that sends what it is given. Answers come back by the serial number of the call."""

    def __init__(self, device):
        self.serials = itertools.count(1)
        self.received = bytearray()
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(60)
        self.socket.connect(device.bus_address.removeprefix("unix:path="))
        self.socket.sendall(b"\0AUTH EXTERNAL %s\r\n" % str(os.geteuid()).encode().hex().encode())
        self.expect(b"OK")
        self.socket.sendall(b"NEGOTIATE_UNIX_FD\r\n")
        self.expect(b"AGREE_UNIX_FD")
        self.socket.sendall(b"BEGIN\r\n")
        self.call(*BUS, "Hello")
        self.receive(30)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def close(self):
        self.socket.close()

    def expect(self, word):
        line = self.socket.recv(4096)
        if not line.startswith(word):
            raise Disconnected(line)

    def call(self, destination, path, interface, member, signature="", values=(), *, descriptors=0, order="<"):
        """Sends a call and returns its serial number. With it go as many descriptors of /dev/null."""
        fields = call_fields(destination, path, interface, member)
        return self.send(CALL, fields, signature, values, descriptors=descriptors, order=order)

    def send(self, kind, fields, signature="", values=(), *, descriptors=0, order="<", flags=0):
        serial = next(self.serials)
        if descriptors:
            fields = {**fields, UNIX_FDS: descriptors}
        data = message(kind, fields, signature, values, serial=serial, flags=flags, order=order)
        self.send_bytes(data, descriptors)
        return serial

    def send_bytes(self, data, descriptors=0):
        """Sends any bytes. Raises Disconnected when nobody takes them any more."""
        try:
            if descriptors:
                with open(os.devnull, "rb") as null:
                    given = array.array("i", [null.fileno()] * descriptors)
                    ancillary = [(socket.SOL_SOCKET, socket.SCM_RIGHTS, given)]
                    data = data[self.socket.sendmsg([data], ancillary) :]
            self.socket.sendall(data)
        except (BrokenPipeError, ConnectionResetError) as error:
            raise Disconnected(str(error)) from error

    def receive(self, limit):
        """The answers that are there, at least one: serial number of the call to the error's name, or to None. Raises
        TimeoutError when none comes in time, and Disconnected."""
        end = time.monotonic() + limit
        while True:
            answers = dict(self.take_answers())
            if answers:
                return answers
            self.socket.settimeout(max(0.01, end - time.monotonic()))
            try:
                piece = self.socket.recv(1 << 20)
            except ConnectionResetError:
                piece = b""
            if not piece:
                raise Disconnected("the bus has closed the connection")
            self.received += piece

    def take_answers(self):
        """Takes whole messages from what has come, little-endian as a bus sends them on this machine."""
        while len(self.received) >= 16:
            kind = self.received[1]
            body_length, _, fields_length = struct.unpack_from("<III", self.received, 4)
            body_begin = 16 + fields_length + -fields_length % 8
            if len(self.received) < body_begin + body_length:
                return
            if kind in (RETURN, ERROR):
                fields = read_fields(bytes(self.received[16 : 16 + fields_length]))
                yield fields[REPLY_SERIAL], fields.get(ERROR_NAME)
            del self.received[: body_begin + body_length]


def read_fields(data):
    """The texts and numbers of a header, by number of the field."""
    fields, position = {}, 0
    while position < len(data):
        position += -position % 8
        code, kind = data[position], chr(data[position + 2])
        position += 4
        if kind == "g":
            length, position = data[position], position + 1
        else:
            position += -position % 4
            (length,) = struct.unpack_from("<I", data, position)
            position += 4
        if kind == "u":
            fields[code] = length
        else:
            fields[code] = data[position : position + length].decode()
            position += length + 1
    return fields
