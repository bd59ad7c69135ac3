"""What a fault may do to an operation: what is other than without it, and how it looks then."""

import re

# How a thing may look that is not as it is without the fault. Besides, an expectation may be that very value.
OLD = "as before"
TORN = "as before, or the beginning of the new text"  # files are replaced in place
GONE = "not there"
COPY = "a copy of the boot environment's files"
FEWER = "less, and nothing else"
REFUSED = "nothing, but for the refusal"
ANY = "anything"

# What a tool's start needs.
START = r"(open|open to write) /dev/null|pipe2|clone|execve .*|(statx|access) /\S*bin/\S+"

# Where a call fails, and what is other than without the fault then, each by a pattern. A file named by the call is torn
# or stays as it was, by itself; all that is not listed has to be as without the fault.
EFFECTS = {
    "host name": [
        (r".* /proc/sys/kernel/hostname", {"asked": OLD, "told": ANY}),
    ],
    "time server": [
        (r"statx /var/run/ntp", {"/run/ntp/ntp.conf": OLD}),
        (r"(open to write|fstat) .*/ntp.conf", {"told": FEWER}),
    ],
    "time zone": [
        (r"access .*/zoneinfo/.*|unlink .*", {"/etc/localtime": OLD, "asked": OLD}),
        (r"symlink .*", {"/etc/localtime": GONE, "asked": "UTC"}),
    ],
    "port": [
        (r"(open to write|fstat) /etc/network/interfaces", {"answer": 0, "told": FEWER}),
    ],
    "port, read": [(START, {"/run/bareboxenv/.*": GONE})],
    "boot environment, read": [(START, {"/run/bareboxenv/.*": GONE})],
    "boot variable": [(START, {"flash": OLD}), (START, {"flash": GONE})],
    "store, added": [(START, {"flash": OLD}), (START, {"flash": GONE})],
    "store, removed": [(r"unlink .*", {"answer": 0, "asked": OLD})],
    "licence": [
        (r"statx /srv/codesys", {"/srv/codesys/codesys.lic": OLD, "/srv/codesys.lic": ANY}),
        (r".*", {"/srv/codesys/codesys.lic": GONE}),
    ],
    "certificate": [
        (r"statx /srv/certificates", {"/srv/certificates/a.pdf": OLD, "/srv/a.pdf": ANY}),
        (r".*", {"/srv/certificates/a.pdf": GONE}),
    ],
    "certificates, removed": [
        (r"(statx|opendir|readdir64) .*|unlink .*", {"/srv/certificates/a.pdf": OLD, "answer": 0}),
    ],
    "password": [
        (
            START + r"|(statx|open|fstat|read) /tmp/reset.asc",
            {"told": REFUSED, "answer": 0, "/etc/guiLevel3": OLD, "/tmp/reset.asc": OLD},
        ),
    ],
    "PLC backup": [
        (r".* /srv/codesys/SysFileMap.cfg", {r"/tmp/.*": ANY}),
        (START + r"|.* /srv/codesys/qmz.cfg|.*/uuid", {"answer": "", r"/tmp/.*": GONE, "/srv/codesys/qmz.cfg": ANY}),
    ],
    "PLC restored": [
        (r"(opendir|readdir64) .*", {"/srv/codesys/Fan.*": OLD, "told": FEWER}),
        (
            START + r"|statx /tmp/.*",
            {
                "answer": 0,
                "told": FEWER,
                "/CODESYSControl/.*": OLD,
                "/srv/codesys/(qmz.cfg|recipe.txt)": OLD,
                "/srv/codesys/.*": GONE,
            },
        ),
        (r".* /srv/codesys/qmz.cfg|.* /CODESYSControl/.*", {"answer": 0, "/CODESYSControl/.*": OLD}),
    ],
    "PLC reset": [
        (r"(opendir|readdir64) .*", {"/srv/codesys/.*": OLD, "told": FEWER}),
        (r"statx /CODESYSControl", {"answer": 0, "told": FEWER}),
    ],
    "firmware, removed": [
        (START, {"/srv/fwupdate/.*": OLD}),
        (r"access /srv/fwupdate/.*", {"/srv/fwupdate/.*": OLD, "told": FEWER}),
    ],
    "update": [
        (START, {"flash": OLD}),
        (START, {"flash": GONE}),
        (r".* /srv|.* /srv/nodekeep", {"/srv/nodekeep/.*": OLD}),
        (r".* (/var)?/run/bareboxenv/update", {"/srv/nodekeep/update": TORN}),
        (r".* /etc/.*", {"/srv/nodekeep/.*": TORN}),
        (r".* /etc/network/interfaces", {"told": ANY}),
        (r"statx /srv/fwupdate/.*", {".*": OLD, "told": FEWER}),
    ],
    "start after an update": [(START, {"/srv/public/a": GONE})],
    "reading": [
        (r".* /proc/uptime", {"answer: uptime": []}),
        (r".* /usr/share/zoneinfo.*", {"answer: zones": 0}),
        (START, {"answer: (time|clock)": 0, "answer: bit rate": 0}),
        (r".* /proc/sys/kernel/hostname", {"answer: host name": "qmz"}),
        (r"statx /etc/localtime", {"answer: zone": "UTC"}),
        (r"readlink /etc/localtime", {"answer: zone": ""}),
    ],
}
# A package is refused, with what was told until then, also one that can't be looked at; a directory that can't stays.
PACKAGE = [
    (
        START + r"|\w+ /srv/fwupdate.*|statx /tmp/.*",
        {"/srv/fwupdate/fwupdate.*": OLD, "/srv/fwupdate/firmware/.*": ANY, "asked": OLD, "told": REFUSED},
    ),
]
EFFECTS["firmware"] = PACKAGE
EFFECTS["firmware, loaded"] = [*PACKAGE, (r"unlink .*", {"/tmp/fwupdate": ANY})]
EVERYWHERE = [
    (r".* /var/log/qmz.*", {"told": FEWER}),
    (r".* (/var)?/run/bareboxenv/.*", {"flash": COPY}),
]


def is_part(got, whole):
    """Whether a list is another one with some of it left out."""
    rest = iter(whole)
    return all(each in rest for each in got)


def is_refusal(told, otherwise):
    """Whether users were told what they are without the fault up to some point, and of the failure then, once."""
    common = 0
    while common < min(len(told), len(otherwise)) and told[common] == otherwise[common]:
        common += 1
    rest = told[common:]
    failures = [call for call in rest if call[0].startswith("SystemEvent.") and not call[0].endswith("Successful")]
    return len(failures) == 1 and rest[-1] == failures[0]


def looks(expected, name, before, without, got):
    """Whether something looks as expected; `before` the operation, `without` a fault and with it: everything seen."""
    value = got.get(name)
    if expected == OLD:
        return value == before.get(name)
    if expected == TORN:
        return value == before.get(name) or (value is not None and (without.get(name) or "").startswith(value))
    if expected == GONE:
        return value is None
    if expected == COPY:
        directory = "/run/bareboxenv/"
        return value == {path.removeprefix(directory): got[path] for path in got if path.startswith(directory)}
    if expected == FEWER:
        return is_part(value, without[name])
    if expected == REFUSED:
        return is_refusal(value, without[name])
    return expected == ANY or value == expected


def expectations(operation, place):
    """What may be other than without the fault: patterns of names, and how each may look."""
    rows = [row for pattern, row in [*EFFECTS.get(operation, []), *EVERYWHERE] if re.fullmatch(pattern, place)]
    target = re.sub(r"^/var/run/", "/run/", place.partition(" ")[2].removeprefix("to write "))
    return [(name, look) for row in rows for name, look in row.items()] + [(re.escape(target), TORN)]


def differences(operation, place, before, without, got):
    """What is other than without the fault though it should not be, with its value."""
    expected = expectations(operation, place)
    return {
        name: got.get(name)
        for name in before.keys() | without.keys() | got.keys()
        if got.get(name) != without.get(name)
        and not any(re.fullmatch(known, name) and looks(look, name, before, without, got) for known, look in expected)
    }
