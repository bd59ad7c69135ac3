"""What the daemon does to the world outside it, in order, as strace sees it: tools, bus messages, platform calls."""

import codecs
import contextlib
import json
import re
import subprocess

from gi.repository import Gio

PLATFORM_LOG = "/var/log/qmz/platform.jsonl"
BUS = "org.freedesktop.DBus"

# Its calls that say nothing of what the daemon is after, but for those here.
BUS_CALLS = ("RequestName", "AddMatch")

TEXT = re.compile(r'"((?:\\x[0-9a-f]{2})*)"')
PIECE = re.compile(r'iov_base="((?:\\x[0-9a-f]{2})*)"')
LINE = re.compile(r"(?P<pid>\d+) +(?P<call>execve|sendmsg|write)\((?P<arguments>.*)")
WRITTEN_FILE = re.compile(r"\d+<((?:\\x[0-9a-f]{2})*)>")


@contextlib.contextmanager
def traced(device, log):
    """Has strace watch the daemon that process 1 of a device starts meanwhile, and yields the list of its effects,
    which is filled at the end. Each is a text: a tool's command line; a message's receiver, path and method with its
    arguments, or a signal's path, interface and name; a call of the platform with its arguments."""
    effects = []
    calls = ["-e", "trace=execve,sendmsg,write", "-e", "signal=none"]
    command = ["strace", "-f", "-y", "-xx", "-s", "100000", *calls, "-o", log, "-p", str(device.init_pid)]
    tracer = subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    try:
        assert " attached" in tracer.stderr.readline()
        yield effects
    finally:
        tracer.terminate()
        tracer.communicate()
    with open(log) as file:
        effects += read_effects(file)


def read_effects(lines):
    daemon = None
    for line in lines:
        match = LINE.match(line)
        if not match:
            continue
        arguments = match["arguments"]
        if match["call"] == "execve":
            path, *words = [decoded(text) for text in TEXT.findall(arguments.partition("], ")[0])]
            if daemon:
                yield " ".join(["tool:", *words])
            elif path == "/usr/sbin/nodekeep":
                daemon = match["pid"]
        elif match["call"] == "sendmsg":
            yield from messages("".join(PIECE.findall(arguments)))
        elif match["pid"] == daemon and decoded(WRITTEN_FILE.match(arguments)[1]) == PLATFORM_LOG:
            entry = json.loads(decoded(TEXT.search(arguments)[1]))
            yield " ".join(["platform:", entry["call"], *map(str, entry["args"])])


def messages(escaped):
    """The messages that went out at once, but for those that only Qt and the bus have to do with."""
    data = unescaped(escaped)
    while len(data) >= 16 and data[:1] in b"lB":
        length = Gio.DBusMessage.bytes_needed(data)
        message = Gio.DBusMessage.new_from_blob(data[:length], Gio.DBusCapabilityFlags.NONE)
        data = data[length:]
        kind, member = message.get_message_type(), message.get_member()
        body = message.get_body().unpack() if message.get_body() else ()
        if kind == Gio.DBusMessageType.SIGNAL:
            yield f"signal: {message.get_path()} {message.get_interface()} {member}"
        elif kind == Gio.DBusMessageType.METHOD_CALL and message.get_destination() != BUS:
            yield " ".join(["bus:", message.get_destination(), message.get_path(), member, *map(plain, body)])
        elif kind == Gio.DBusMessageType.METHOD_CALL and member in BUS_CALLS and f"'{BUS}'" not in str(body):
            yield f"bus: {member} {plain(body[0])}"


def plain(value):
    return value if isinstance(value, str) else json.dumps(value, sort_keys=True)


def unescaped(text):
    return codecs.decode(text.replace("\\x", ""), "hex")


def decoded(text):
    return unescaped(text).decode(errors="replace")
