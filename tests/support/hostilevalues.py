"""Values of every type that a bus message can hold, such as nobody reasonable would send."""

import functools
import math
import struct

from rawbus import complete_types

TEXTS = {
    "nothing": "",
    "blanks": " \t\r\n ",
    "control characters": "".join(map(chr, range(1, 32))) + "\x7f",
    "quotes": "\"'`$(reboot);|&\\",
    "a format": "%s%n%d%1$s %5 {} \\u0000",
    "other scripts": "ä\u0451\u4e2d\u0634\u2028\u202e\u00a0",
    "beyond 16 bits": "\U0001f600\U0010ffff\ufeff\ufffd",
    "combined": "e\u0301" * 1000,
    "a path": "../../../etc/hosts",
    "a long path": "/" + "a" * 5000,
    "an option": "--help",
    "a name": "config",
    "lines": "a=1\nb=2\r\n#c\n",
    "a megabyte": "x" * 1_000_000,
}

# What means something to somebody: stores, variables, files, events, addresses, numbers as text.
WORDS = [
    *("config", "boot", "system", "update", "factory_init", "fwupdate1", "fwupdate2", "hostname", "pw", "NTPSERVER"),
    *("BITRATE", "TERMINATION", "RESTART", "VERSION", "eth0.ethaddr", "eth0.ipaddr", "ip", "min_fwversion"),
    *("State", "Timeservers", "ready", "online", "idle", "local.System", "local.BareboxConfig", "server", "dhcp"),
    *("192.168.1.10", "255.255.255.0", "256.1.1.1", "010.0.0.1", "::1", "fe80::1%eth0", "1.2.3", "0.0.0.0"),
    *("0", "1", "-1", "true", "99999999999999999999", "1e308", "nan", "0x10", "\u0663"),
    *("node-1", "-node", "n" * 64, "UTC", "Europe/Berlin", "Europe", "..", ".", "/", "//", "a/../b", "a=b", "#c"),
    *("/run/fuzz/fifo", "/run/fuzz/large", "/run/fuzz/link", "/run/fuzz/directory", "/run/fuzz/nobody", "=v"),
    *("/run/fuzz/fwupdate", "/run/fuzz/codesys.tgz", "/run/fuzz/report.pdf", "../x.pdf", "report.PDF", "codesys.lic"),
    *("-", "-x", "./-x"),
    *("/proc/self/status", "/proc/self/mem", "http://127.0.0.1:9/x", "http://[::1", "%", "%00", "\\0", "a b"),
    *("x" * 255, "x" * 256, "\u4e2d" * 200, "a" * 4096, "/a" * 3000, "0" * 10_000, "{" * 1000, '"' * 1000, "\\" * 999),
    *("\x01", "\x7f\x80\x9f", "\ufffe\uffff", "\ufdd0", "a\u0300\u0301" * 50, "\u202e\u2066", " =v", "a\nb=c"),
]

RANGES = {"y": (0, 8), "n": (1, 16), "q": (0, 16), "i": (1, 32), "u": (0, 32), "x": (1, 64), "t": (0, 64)}
DOUBLES = [0.0, -0.0, 1.0, -1.5, 1e308, -1e308, 5e-324, math.inf, -math.inf, math.nan, 2.0**63, 4294967296.5]
PATHS = ["/", "/system", "/loader", "/a/b/c", "/_", "/" + "x" * 5000, "/x" * 2000]
SIGNATURES = ["", "s", "a{sv}", "(ii)", "a" * 32 + "y", "(" * 32 + "y" + ")" * 32, "s" * 255, "a(oa{sv})vv"]

# From plain ones to what hardly anybody has seen.
TYPES = [*"sbynqiuxtdogvh", "ay", "as", "av", "aas", "a{sv}", "a{ss}", "a{ys}", "a{oa{sv}}", "(s)", "(sv(ai))", "aay"]

DEEPEST = 62  # variants within each other; with the levels of the message itself, as deep as one may be
HUGE = 4_000_000


def edges(signed, bits):
    """The numbers at the ends of a type, and at those of the smaller ones that it holds."""
    low, high = (-1 << bits - 1, (1 << bits - 1) - 1) if signed else (0, (1 << bits) - 1)
    powers = [sign << power for sign in (-1, 1) for power in (0, 7, 8, 15, 16, 31, 32, 63)]
    near = [power + step for power in powers for step in (-1, 0, 1)]
    return [number for number in sorted({*near, low, high, 60, 1000}) if low <= number <= high]


def nested(kind, value, levels):
    """A value in so many variants: the innermost's type and value."""
    for _ in range(levels - 1):
        kind, value = "v", (kind, value)
    return kind, value


FIXED = {
    **{kind: edges(*values) for kind, values in RANGES.items()},
    "s": [*TEXTS.values(), *WORDS],
    "d": DOUBLES,
    "o": PATHS,
    "g": SIGNATURES,
    "v": [
        *(nested("s", "ready", levels) for levels in (1, 2, 3, 16, DEEPEST)),
        *(nested("a{sv}", [], levels) for levels in (1, DEEPEST - 2)),
        *(("s", text) for text in WORDS[:40]),
        ("ay", bytes(HUGE)),
        ("as", [""] * 10_000),
        ("as", ["a", "b"]),
        ("a{sv}", [(str(number), ("i", number)) for number in range(1000)]),
        ("a{ss}", [("a", "b")] * 100),
        ("a" * 32 + "i", []),
        ("(" * 30 + "i" + ")" * 30, functools.reduce(lambda value, _: (value,), range(30), 1)),
    ],
}


class HostileValues:
    """Makes them from a random.Random, whose seed so tells them all, as rawbus.marshal() takes them."""

    def __init__(self, source):
        self.source = source

    def series(self, kind, count):
        """So many values of a type in no order: first of all those of its fixed list, as far as there is room, and
        then random ones."""
        fixed = FIXED.get(kind, [])
        values = self.source.sample(fixed, min(count, len(fixed)))
        values += [self.value(kind) for _ in range(count - len(values))]
        self.source.shuffle(values)
        return values

    def values(self, signature):
        return [self.value(kind) for kind in complete_types(signature)]

    def value(self, kind):
        """A random value of a type."""
        if kind in RANGES:
            return self.number(*RANGES[kind])
        match kind[0]:
            case "b":
                return self.source.randrange(2)
            case "d":
                return struct.unpack("d", self.source.randbytes(8))[0]
            case "s":
                return self.text()
            case "o":
                return "/" + "/".join(
                    self.source.choices(("system", "loader", "a", "_9"), k=self.source.randrange(1, 9))
                )
            case "g":
                return self.source.choice(SIGNATURES)
            case "h":
                return 0  # the one descriptor that goes with the message
            case "v":
                inner = self.source.choice(TYPES)
                return inner, self.value(inner)
            case "a":
                return self.array(kind[1:])
        return tuple(self.values(kind[1:-1]))

    def number(self, signed, bits):
        size = self.source.getrandbits(self.source.randrange(1, bits + 1 - signed))
        return -size if signed and self.source.random() < 0.5 else size

    def array(self, element):
        count = self.source.choice((0, 1, 2, 5, 50 if element in "ysi" else 3))
        if element[0] == "{":
            key, value = complete_types(element[1:-1])
            return [(self.value(key), self.value(value)) for _ in range(count)]
        return [self.value(element) for _ in range(count)]

    def text(self):
        """Mostly short, of all characters but NUL and surrogates, which no message may hold."""
        source = self.source
        dice = source.random()
        if dice < 0.3:
            return source.choice(WORDS)
        if dice < 0.302:
            return self.character() * source.randrange(HUGE // 3)
        length = source.randrange(2000) if dice < 0.33 else source.randrange(1, 20)
        return "".join(self.character() for _ in range(length))

    def character(self):
        number = self.source.randrange(1, self.source.choice((128, 0x800, 0xD800, 0x110000)))
        return "\ufffd" if 0xD800 <= number < 0xE000 else chr(number)
