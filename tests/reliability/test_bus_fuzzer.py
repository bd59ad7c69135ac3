"""Whatever is on the bus, every call is answered, and afterwards the daemon is what it was."""

import collections
import contextlib
import itertools
import random
import re
import signal
import typing
import xml.etree.ElementTree

import pytest
from busclient import BUS, INTROSPECTABLE, PROPERTIES, SERVICE, BusClient
from hostilevalues import FIXED, TYPES, HostileValues
from footprint import Footprint
from insidetools import daemon_children, resident_kib, shell
from malformed import malformed, spoilt
from rawbus import CALL, SIGNAL, Disconnected, RawBus, call_fields, complete_types

VALUES = 100  # of each argument in a round
ROUND = 14_000  # messages, nine in ten of them calls
ROUNDS = {False: 2, True: 100}  # by whether it is the long form
BOOTS = {False: 2, True: 50}
MESSAGES_OF_A_BOOT = 300  # at most
GROWTH_KIB = 1024
ANSWER_LIMIT = 60
UNDER_WAY = 64  # calls; the bus lets nobody have more than 128
MALFORMED = 600  # messages of a round
SPOILT = 1000  # good ones that are made bad
LARGEST = 31 << 20  # bytes of a text; the bus carries no message of 32 MiB
TOLD = 40  # messages that a failure tells
OUTCASTS = 8  # connections of which the bus may not want to hear any more

LOST = ("NoReply", "Disconnected", "NameHasNoOwner", "ServiceUnknown", "LimitsExceeded", "AccessDenied")

# What these do is not looked at here, and they take their time. One is missing.
QUICK_TOOLS = """
for tool in flash_eraseall hwclock ifup ifdown gpg; do ln -sf /bin/true /usr/sbin/$tool; done
ln -sf /bin/false /usr/sbin/wget
rm -f /usr/sbin/ifconfig /etc/init-jobs/*
"""
NO_REBOOTS = "for tool in bareboxenv shutdown; do ln -sf /bin/true /usr/sbin/$tool; done"

WORLD = """
mkdir -p /CODESYSControl /run/fuzz/directory /srv/fwupdate
mkfifo /run/fuzz/fifo
ln -s /run/fuzz/nobody /run/fuzz/link
truncate -s 64M /run/fuzz/large
for number in 1 2 3 4 5; do
    mkdir -p /srv/fwupdate/fwupdate$number && cd /srv/fwupdate/fwupdate$number
    touch linuximage linuximage.md5 root.ubi root.ubi.md5 control
done
"""

# Signals of anybody that the daemon hears, and some that it might.
SIGNALS = {
    ("/", "com.ozt.httpdata", "fileUploaded"): "ss",
    ("/", "net.connman.Service", "PropertyChanged"): "sv",
    ("/net/connman/service/ethernet_1", "net.connman.Service", "PropertyChanged"): "sv",
    ("/", "com.ozt.syscfgmgr", "started"): "",
    ("/org/freedesktop/DBus", BUS, "NameOwnerChanged"): "sss",
    ("/org/freedesktop/DBus", BUS, "NameLost"): "s",
    ("/org/freedesktop/DBus", BUS, "NameAcquired"): "s",
    ("/loader", "local.FwUpdateSettings", "scan"): "",
    ("/system", PROPERTIES, "PropertiesChanged"): "sa{sv}as",
}

# Their first argument is kept as a name.
NAMING = ("set", "syncSet", "setEnv", "addConfig", "delConfig", "lookupConfig")

# These leave something of the process behind for good, as they have to: they are for the time before it is measured.
GROWING = ("remoteMeascardLedSingaling", "fileUploaded")

# Memory that is freed goes back at once, so that what is taken tells of what is kept.
SPARING = {
    "mmap_threshold": 8192,
    "mmap_max": 1_000_000,
    "trim_threshold": 4096,
    "top_pad": 4096,
    "arena_max": 1,
    "tcache_count": 0,
}

# Clients may delete the one and make the other, for good.
FIRMWARE = "/loader/fwupdate"
STORES = "/loader/"

CONNMAN_SIGNAL = ("/", "net.connman.Service", "PropertyChanged")
EMPTY = {"s": "", "b": 0, "i": 0, "u": 0}
PLAIN = {"hostname": "node", "timezone": "UTC"}


class Message(typing.NamedTuple):
    kind: int
    fields: dict
    signature: str
    values: list
    order: str = "<"

    def __str__(self):
        text = repr(self.values)
        shown = text if len(text) < 200 else f"{text[:200]}... ({len(text)} characters)"
        return f"{'signal' if self.kind == SIGNAL else 'call'} {self.fields} {self.signature!r} {shown}"


class Gone(Exception):
    """A call will not be answered any more."""


class Fuzzer:
    """Sends calls of all kinds, with many of them under way, and fails unless each is answered."""

    def __init__(self, device, seed):
        print(f"--seed={seed}")  # which a failed test shows
        self.device = device
        self.source = random.Random(seed)
        self.values = HostileValues(self.source)
        # Text that is an object's name but too long for a file's would make a store that can't be deleted again.
        short = [text for text in FIXED["s"] if len(text) < (5000 if set(text) & set('/{"\\') else 256)]
        self.names = list(dict.fromkeys([*short, *(self.values.text()[:200] for _ in range(30))]))
        # The bus library keeps each member and signature that it has not found for good, so they may not be too many.
        self.signatures = ["", *("".join(self.source.choices(TYPES, k=each % 4 + 1)) for each in range(15))]
        self.malformed = itertools.cycle(self.shuffled([*malformed(), *(spoilt(self.source) for _ in range(SPOILT))]))
        self.sent = 0
        self.last = collections.deque(maxlen=TOLD)
        with BusClient(device) as client:
            self.methods = client.methods()
            self.properties = [
                (path, interface, each.get("name"), each.get("type"), each.get("access"))
                for path in client.paths()
                for interface, members in client.interfaces(path).items()
                for each in members.iterfind("property")
            ]
        self.connect()

    def connect(self):
        self.bus = RawBus(self.device)
        self.outcasts = collections.deque()  # connections that have sent what is malformed
        self.under_way = {}

    def shuffled(self, items):
        items = list(items)
        self.source.shuffle(items)
        return items

    # What there is to send

    def round(self, growing):
        """The messages of a round, in no order."""
        messages = []
        for method in self.methods:
            if growing or method.name not in GROWING:
                messages += self.calls_of(method)
        for each in self.properties:
            messages += self.uses_of(*each)
        for address, signature in SIGNALS.items():
            if growing or address[-1] not in GROWING:
                messages += self.signals_of(address, signature)
        for member in ("exists", "nothing"):
            messages.append(self.call("/system/guiLevel1", "local.BareboxConfig", member, "s", ["x" * LARGEST]))
        messages += [next(self.malformed) for _ in range(MALFORMED)]
        messages += [self.anything() for _ in range(ROUND - len(messages))]
        return self.shuffled(messages)

    def calls_of(self, method):
        address = method.path, method.interface, method.name
        for values in self.argument_lists(method.signature, VALUES if method.signature else 5, method.name in NAMING):
            yield self.call(*address, method.signature, values)
        for wrong in self.wrong_signatures(5, method.signature):
            yield self.call(*address, wrong, self.values.values(wrong))

    def argument_lists(self, signature, count, naming=False):
        series = [self.values.series(kind, count) for kind in complete_types(signature)]
        if naming:
            series[0] = self.source.choices(self.names, k=count)
        return list(zip(*series, strict=True)) or [()] * count

    def wrong_signatures(self, count, right=""):
        return self.source.sample([each for each in self.signatures if each != right], count)

    def uses_of(self, path, interface, name, kind, access):
        for value in self.values.series(kind, VALUES if access == "readwrite" else 5):
            yield self.call(path, PROPERTIES, "Set", "ssv", [interface, name, (kind, value)])
        for wrong in self.source.sample(TYPES, 5):
            yield self.call(path, PROPERTIES, "Set", "ssv", [interface, name, (wrong, self.values.value(wrong))])
        for _ in range(3):
            yield self.call(path, PROPERTIES, "Get", "ss", [interface, name])

    def signals_of(self, address, signature):
        for values in self.argument_lists(signature, VALUES if signature else 5):
            yield self.signal(address, signature, values)
        for wrong in self.wrong_signatures(5, signature):
            yield self.signal(address, wrong, self.values.values(wrong))

    def signal(self, address, signature, values):
        destination = self.source.choice((None, None, SERVICE))
        return Message(SIGNAL, call_fields(destination, *address), signature, values)

    def call(self, path, interface, member, signature="", values=()):
        interface = self.source.choice((interface,) * 9 + (None,))
        order = self.source.choice("<<<>")
        return Message(CALL, call_fields(SERVICE, path, interface, member), signature, values, order)

    def anything(self):
        """What belongs to no member: a malformed message, or a call of what every object has, or of what none has."""
        method = self.source.choice(self.methods)
        (signature,) = self.wrong_signatures(1, method.signature)
        values = self.values.values(signature)
        texts = [self.values.text(), self.values.text()]
        return self.source.choice(
            (
                lambda: next(self.malformed),
                lambda: self.call(self.values.value("o"), method.interface, method.name, signature, values),
                lambda: self.call(method.path, "local.Nothing", method.name, signature, values),
                lambda: self.call(method.path, method.interface, "nothing", signature, values),
                lambda: self.call(method.path, INTROSPECTABLE, "Introspect"),
                lambda: self.call(method.path, PROPERTIES, "GetAll", "s", [self.source.choice((method.interface, ""))]),
                lambda: self.call(method.path, PROPERTIES, "Get", "ss", texts),
                lambda: self.call(method.path, PROPERTIES, "Set", "ssv", [*texts, self.values.value("v")]),
                lambda: self.call(method.path, f"{BUS}.Peer", self.source.choice(("Ping", "GetMachineId"))),
            )
        )()

    # Sending

    def send(self, messages):
        """Sends them all, and returns when every call has been answered. Raises Gone."""
        try:
            for each in messages:
                self.last.append(each)
                self.sent += 1
                if isinstance(each, bytes):
                    self.send_malformed(each)
                else:
                    self.send_well_formed(each)
            while self.under_way:
                self.take_answers()
        except (OSError, Disconnected) as error:
            raise Gone(self.report(repr(error))) from error

    def send_well_formed(self, each):
        while len(self.under_way) >= UNDER_WAY:
            self.take_answers()
        # With any message, and not with every one that speaks of a descriptor.
        descriptors = int(self.source.random() < 0.05)
        content = (each.kind, each.fields, each.signature, each.values)
        serial = self.bus.send(*content, descriptors=descriptors, order=each.order)
        if each.kind == CALL:
            self.under_way[serial] = each

    def send_malformed(self, data):
        """From a connection of its own, which stays a while: the bus may wait for the rest."""
        outcast = RawBus(self.device)
        self.outcasts.append(outcast)
        if len(self.outcasts) > OUTCASTS:
            self.outcasts.popleft().close()
        with contextlib.suppress(Disconnected):  # before the end of it
            outcast.send_bytes(data)

    def take_answers(self):
        for serial, error in self.bus.receive(ANSWER_LIMIT).items():
            each = self.under_way.pop(serial)
            if error and error.rpartition(".")[2] in LOST:
                raise Gone(self.report(f"{error} for {each}"))

    def report(self, what):
        oldest = next(iter(self.under_way.values()), None)
        last = "\n".join(map(str, self.last))
        return f"after {self.sent} messages: {what}\noldest without an answer: {oldest}\nlast messages:\n{last}"

    # Coming to rest

    def rest(self, client):
        """Takes from the daemon what it was sent, but for the names, of which it then has all."""
        self.send(self.loader_call("addConfig", name) for name in self.names)
        client.call("/loader", "saveEnv")
        # What has the name of no file can't be deleted.
        for name in self.names:
            client.call("/loader", "delConfig", name)
        for name in self.names:
            if client.call("/loader", "lookupConfig", name):
                self.send(self.loader_call("setEnv", each, "") for each in self.names)
        self.send(self.loader_call("addConfig", name) for name in ("boot", "config", "system"))
        for path in (path for path in client.paths() if "local.BareboxConfig" in client.interfaces(path)):
            names = {*self.names, *client.call(path, "variableList")}
            self.send(self.plain_call(path, "set", "ss", name, "") for name in names)
        for path, interface, name, kind, access in self.properties:
            if access == "readwrite":
                self.send([self.plain_call(path, "Set", "ssv", interface, name, (kind, PLAIN.get(name, EMPTY[kind])))])
        self.send([Message(SIGNAL, call_fields(None, *CONNMAN_SIGNAL), "sv", ["Timeservers", ("s", "")])])
        client.ping()

    def plain_call(self, path, member, signature, *values):
        interface = PROPERTIES if member == "Set" else None
        return Message(CALL, call_fields(SERVICE, path, interface, member), signature, values)

    def loader_call(self, member, *texts):
        return self.plain_call("/loader", member, "s" * len(texts), *texts)


def tree(client, left_out):
    """What the introspection tells of all objects but those whose path begins with `left_out`."""
    return {path: described(client, path, left_out) for path in client.paths() if not path.startswith(left_out)}


def described(client, path, left_out):
    description = client.introspect(path)
    for each in description.findall("node"):
        if f"{path.rstrip('/')}/{each.get('name')}".startswith(left_out):
            description.remove(each)
    return sorted(xml.etree.ElementTree.tostring(each).strip() for each in description)


def excess(device, before):
    """What the daemon has more than before: descriptors, threads and tools that run."""
    return [now - then for now, then in zip(holdings(device), before, strict=True) if now > then]


def holdings(device):
    process = f"/proc/{device.daemon_status()['pid']}"
    return [
        *(len(shell(device, f"ls {process}/{each}").split()) for each in ("fd", "task")),
        len(daemon_children(device)),
    ]


@pytest.mark.slow(seconds=60)
def test_no_message_leaves_a_trace(new_device, long_form, seed):
    new_device.start(daemon=False)
    shell(new_device, WORLD + QUICK_TOOLS)
    tunables = ":".join(f"glibc.malloc.{name}={value}" for name, value in SPARING.items())
    new_device.start_daemon(env={"GLIBC_TUNABLES": tunables})
    shell(new_device, NO_REBOOTS)
    fuzzer = Fuzzer(new_device, seed)
    with BusClient(new_device) as client:
        before = tree(client, FIRMWARE)
        fuzzer.send(fuzzer.round(growing=True))
        fuzzer.rest(client)
        size, held = resident_kib(new_device), holdings(new_device)

        for _ in range(1, ROUNDS[long_form]):
            fuzzer.send(fuzzer.round(growing=False))

        fuzzer.rest(client)
        assert tree(client, FIRMWARE) == before
    new_device.wait_for(lambda: not excess(new_device, held), what=f"no more than {held}")
    # A sanitizer's own memory grows by more than what it is to be told of.
    assert Footprint.of(new_device).sanitized or resident_kib(new_device) - size < GROWTH_KIB


def test_a_device_that_clients_may_reboot_comes_up_each_time(new_device, long_form, seed):
    new_device.start()
    shell(new_device, QUICK_TOOLS)
    with BusClient(new_device) as client:
        before = tree(client, STORES)
    fuzzer = Fuzzer(new_device, seed)

    for _ in range(BOOTS[long_form]):
        boots = come_to_rest(new_device)
        fuzzer.connect()
        shell(new_device, WORLD)
        messages = fuzzer.source.sample(fuzzer.round(growing=True), MESSAGES_OF_A_BOOT)
        try:
            fuzzer.send([*messages, fuzzer.loader_call("reboot")])
        except Gone:
            if not boots_again(new_device, boots):
                raise
        assert boots_again(new_device, boots)

    come_to_rest(new_device)
    with BusClient(new_device) as client:
        assert tree(client, STORES) == before
    endings = re.findall(r"daemon ended with status (\S+)", new_device.host_log("device.log"))
    assert endings == [str(-signal.SIGTERM)] * (new_device.boots - 1)


def come_to_rest(device):
    """Waits for the reboot that ends an update and for the daemon, and returns how often the device has booted."""
    device.wait_for(lambda: "installing firmware" not in re.split(r"boot \d+\n", device.host_log("device.log"))[-1])
    device.wait_daemon()
    return device.boots


def boots_again(device, boots):
    try:
        return device.wait_for(lambda: device.boots > boots)
    except TimeoutError:
        return False
