"""Where the time of a start goes, and the memory: the daemon's beside the least that a Qt service can be."""

import collections
import operator
import re
import time

from figures.start_up import replaced_tools
from rounds import Row, in_turns
from services import MINIMAL, NODEKEEP, Running

TRACE = "/run/bench-trace"
ROUNDS = 5
AT_REST = 1.5  # seconds

# What begins a part of a start, in order. A service that does not do it has no such part.
PARTS = {
    "libraries loaded, linked and initialised": r"execve\(",
    "application object, thread for the bus": r"openat\(.*/LC_IDENTIFICATION",
    "bus: connected, name taken": r"connect\(.*system_bus_socket",
    "objects made, tools run": r'mkdir\("/var/log/qmz"',
}
TOOLS = "of that: tools"


def measure(_quick):
    environment = replaced_tools()
    looks = {
        ("start", "ms"): lambda service: parts_of(calls_of_start(service, environment)),
        ("start", ""): lambda service: counts(service, environment),
        ("memory", "KiB"): memory_parts,
    }
    return [row for (figure, unit), look in looks.items() for row in rows(figure, unit, look)]


def rows(figure, unit, look):
    """One for each part that the daemon's look has."""
    taken = in_turns(ROUNDS, {service.label: lambda service=service: look(service) for service in (NODEKEEP, MINIMAL)})
    for part in taken[NODEKEEP.label][0]:
        values = {label: [parts.get(part, 0) for parts in rounds] for label, rounds in taken.items()}
        yield Row(figure, part, unit, values)


def trace(service, environment, end, *options):
    """What strace has noted of a service from its start to its first answer, once that matches `end`."""
    command = ["strace", "-D", "-f", "-o", TRACE, *options, *service.command]  # -D: the service's id is the one we get
    with Running(service._replace(command=command), environment):
        pass
    while True:
        with open(TRACE, encoding="utf-8", errors="replace") as file:
            text = file.read()
        if re.search(end, text, re.MULTILINE):
            return text
        time.sleep(0.01)


def calls_of_start(service, environment):
    """Time in ms, thread and text of the calls that divide a start; the kernel lets all others pass at full speed."""
    kinds = "trace=execve,openat,connect,clone,vfork,mkdir,poll,ppoll"
    text = trace(service, environment, r"\+\+\+ killed", "--seccomp-bpf", "-ttt", "-e", kinds)
    return [(float(at) * 1000, thread, call) for thread, at, call in re.findall(r"^(\d+) +(\S+) (.*)$", text, re.M)]


def parts_of(calls):
    begins = {}
    for at, _, call in calls:
        for name, mark in PARTS.items():
            if name not in begins and re.search(mark, call):
                begins[name] = at
    _, first, _ = calls[0]
    forks, ends = ([at for at, _, call in calls if mark in call] for mark in ("CLONE_VFORK", "--- SIGCHLD"))
    prepared = max([*begins.values(), *ends])
    event_loop = next(at for at, thread, call in calls if thread == first and "poll(" in call and at > prepared)
    bounds = [*begins.values(), event_loop]
    return dict(zip(begins, map(operator.sub, bounds[1:], bounds))) | {TOOLS: sum(ends) - sum(forks)}


def counts(service, environment):
    calls = trace(service, environment, "total$", "-c").splitlines()[-1].split()
    opened = trace(service, environment, r"\+\+\+ killed", "-e", "trace=openat,execve,clone3")
    with Running(service, {**environment, "LD_DEBUG": "statistics", "LD_DEBUG_OUTPUT": "/run/bench-ld"}) as running:
        with open(f"/run/bench-ld.{running.pid}", encoding="ascii") as file:
            linker = dict(re.findall(r"(number of .*?): (\d+)", file.read()))
    return {
        "libraries": len(set(re.findall(r'"[^"]*/([^"/]+\.so[.\d]*)".* = \d', opened))),
        "relocations by name": int(linker["number of relocations"]),
        "relocations by address": int(linker["number of relative relocations"]),
        "system calls": int(calls[3]),
        "threads started": len(re.findall(r"clone3\(.*CLONE_THREAD", opened)),
        "programs run": len(re.findall(r"execve\(", opened)) - 1,
    }


def memory_parts(service):
    """By what the memory holds; the libraries' is what linking and their own variables have written."""
    with Running(service) as running:
        running.settle(AT_REST)
        with open(f"/proc/{running.pid}/smaps", encoding="utf-8") as file:
            text = file.read()
    sizes = collections.Counter()
    for name, kib in re.findall(
        r"^[0-9a-f]+-\S+ \S+ \S+ \S+ \d+ *(.*)\n(?:(?!Anonymous)\w+:.*\n)*Anonymous: +(\d+)", text, re.M
    ):
        sizes[kind_of_memory(name)] += int(kib)
    return dict(sizes.most_common())


def kind_of_memory(name):
    if name in ("[heap]", "[stack]"):
        return name.strip("[]")
    if not name.startswith("/"):
        return "other threads: stacks and heaps"
    library = re.search(r"/(libQt6\w+|libQMZ)", name)
    if library:
        return library[1]
    return "other libraries" if ".so" in name else "the program itself"
