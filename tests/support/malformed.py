"""Messages that no library would let through: most of them cost their sender the connection."""

import struct

from busclient import PROPERTIES, SERVICE
from hostilevalues import nested
from rawbus import CALL, DESTINATION, ERROR, ERROR_NAME, INTERFACE, MEMBER, PATH, REPLY_SERIAL, RETURN, SIGNAL
from rawbus import UNIX_FDS, call_fields, marshal, message

STORE = call_fields(SERVICE, "/system/guiLevel1", "local.BareboxConfig", "get")
PROPERTY = call_fields(SERVICE, "/system", PROPERTIES, "Get")
SET = call_fields(SERVICE, "/system/network", PROPERTIES, "Set")
UPLOADED = {PATH: "/", INTERFACE: "com.ozt.httpdata", MEMBER: "fileUploaded"}
CHANGED = {PATH: "/", INTERFACE: "net.connman.Service", MEMBER: "PropertyChanged"}

LOCAL = {PATH: "/org/freedesktop/DBus/Local", INTERFACE: "org.freedesktop.DBus.Local", MEMBER: "Disconnected"}
TEXTS = [b"\xff\xfe", b"\xed\xa0\x80", b"\xc0\x80", b"\xf4\x90\x80\x80", b"a\0b", b"\xe4\xb8", b"\x80" * 1000]
SIGNATURES = ["a", "(", ")", "{sv}", "a{vs}", "()", "a{s}", "z", "s" * 255, "a" * 33 + "y", "\0", "((((s)))", "r", "e"]
NAMES = ["", ".", "..", "a", "a.", ".a", "a..b", "1.2", "a." + "b" * 300, "ä.b", ":1", "a b.c", "a.b\n"]
OBJECT_PATHS = ["", "system", "//", "/system/", "/a b", "/ä", "/a//b", "/\x01"]
BEYOND_A_BUS = 33 << 20  # bytes


def well_formed():
    """Good ones that do no harm, to be spoilt."""
    yield message(CALL, STORE, "s", ["a"])
    yield message(CALL, PROPERTY, "ss", ["local.System", "hostname"])
    yield message(CALL, SET, "ssv", ["local.NetworkInterface", "gateway", ("s", "1.2.3.4")])
    yield message(SIGNAL, UPLOADED, "ss", ["/run/fuzz/nobody", "x"])
    yield message(SIGNAL, CHANGED, "sv", ["Nothing", ("a{sv}", [("a", ("i", 1)), ("b", ("as", ["c"]))])])
    yield message(CALL, PROPERTY, "ss", ["local.System", "hostname"], order=">")


def malformed():
    """One of each kind, as bytes."""
    for text in TEXTS:
        yield message(CALL, STORE, "s", [text])
        yield message(SIGNAL, UPLOADED, "ss", [text, "x"])
        yield message(SIGNAL, CHANGED, "sv", ["State", ("s", text)])
        yield message(CALL, {**STORE, MEMBER: text}, "s", ["a"])
    for signature in SIGNATURES:
        yield message(CALL, STORE, signature, body=marshal("s", ["a"]))
        yield message(SIGNAL, CHANGED, "sv", body=marshal("sgu", ["State", signature, 0]))
    for name in NAMES:
        yield message(CALL, {**STORE, INTERFACE: name}, "s", ["a"])
        yield message(CALL, {**STORE, MEMBER: name}, "s", ["a"])
        yield message(CALL, {**STORE, DESTINATION: name}, "s", ["a"])
    for path in OBJECT_PATHS:
        yield message(CALL, {**STORE, PATH: path}, "s", ["a"])
    for field in STORE:
        yield message(CALL, {code: value for code, value in STORE.items() if code != field}, "s", ["a"])
    for order in "<>":
        for depth in (63, 64, 65, 200):
            yield message(SIGNAL, CHANGED, "sv", ["State", nested("s", "ready", depth)], order=order)
        yield message(CALL, SET, "ssv", ["local.NetworkInterface", "dhcp", ("b", 2)], order=order)
    yield from odd_headers()
    yield from odd_lengths()
    yield from what_only_the_bus_says()


def odd_headers():
    for kind in (0, 5, 255):
        yield message(kind, STORE, "s", ["a"])
    for flags in (2, 4, 8, 255):
        yield message(CALL, STORE, "s", ["a"], flags=flags)
    yield message(CALL, STORE, "s", ["a"], version=2)
    yield message(CALL, STORE, "s", ["a"], serial=0)
    yield message(CALL, {**STORE, 0: "a"}, "s", ["a"])
    yield message(CALL, {**STORE, 77: "a"}, "s", ["a"])
    yield message(CALL, {**STORE, UNIX_FDS: 3}, "s", ["a"])
    yield message(CALL, {**STORE, PATH: "/" + "a/" * 100_000 + "a"}, "s", ["a"])
    yield message(CALL, {**STORE, INTERFACE: "a." + "b" * 252}, "s", ["a"])


def odd_lengths():
    text = marshal("s", ["a"])
    for body in (b"", text[:-1], text + b"\0", text + bytes(1000), b"\xff\xff\xff\xff", struct.pack("<I", 1 << 30)):
        yield message(CALL, STORE, "s", body=body)
    for length in (1, 7, 67_108_865, 0xFFFFFFFF):
        yield message(CALL, STORE, "ai", body=struct.pack("<I", length) + bytes(8))
        yield message(CALL, STORE, "a(ss)", body=struct.pack("<I", length) + bytes(8))
    yield message(CALL, STORE, body=text)
    good = message(CALL, STORE, "s", ["a"])
    for position, length in ((4, 134_217_729), (4, 0x7FFFFFFF), (12, 0), (12, 67_108_865), (12, 0xFFFFFFFF)):
        yield good[:position] + struct.pack("<I", length) + good[position + 4 :]
    yield message(CALL, STORE, "s", ["x" * BEYOND_A_BUS])


def what_only_the_bus_says():
    """Answers that nobody has asked for, and what a library tells itself when its connection is lost."""
    for serial in range(1, 40):
        yield message(RETURN, {DESTINATION: SERVICE, REPLY_SERIAL: serial}, "s", ["a"])
        yield message(ERROR, {DESTINATION: SERVICE, REPLY_SERIAL: serial, ERROR_NAME: "a.b"})
    yield message(SIGNAL, LOCAL)
    yield message(SIGNAL, {**LOCAL, DESTINATION: SERVICE})
    yield message(SIGNAL, {**LOCAL, DESTINATION: SERVICE, PATH: "/"})
    yield message(SIGNAL, {**UPLOADED, DESTINATION: SERVICE, INTERFACE: LOCAL[INTERFACE]})


def spoilt(source):
    """A good message with some of its bits changed, or not all of it."""
    data = bytearray(source.choice(list(well_formed())))
    for _ in range(source.choice((1, 1, 2, 8))):
        data[source.randrange(len(data))] ^= 1 << source.randrange(8)
    return bytes(data[: source.randrange(len(data))] if source.random() < 0.2 else data)
