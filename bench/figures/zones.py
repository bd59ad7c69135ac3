"""The time zones as text: the walk alone, and as an answer over the bus."""

from rounds import PROCESSOR_TIME, Row, Tasks, in_turns, scaled
from services import NODEKEEP, PROGRAMS, TIMEDATED, Running, client

TREE = ("com.ozt.nodekeep", "/system/time", "local.Systemtime", "jsonTimezones")
LIST = ("org.freedesktop.timedate1", "/org/freedesktop/timedate1", "org.freedesktop.timedate1", "ListTimezones")
CALLS = 5


def measure(quick):
    rounds = 7 if quick else 15
    with Tasks(f"{PROGRAMS}/ZonesBench") as work:
        takes = {"nodekeep": lambda: work.seconds("tree"), "plain walk": lambda: work.seconds("walk")}
        rows = [Row("time zones", "in the process", "ms", scaled(in_turns(rounds, takes), 1000))]
    with Running(NODEKEEP) as own, Running(TIMEDATED) as peer:
        takes = {
            "nodekeep": lambda: answer_seconds(own, TREE),
            "timedated's ListTimezones": lambda: answer_seconds(peer, LIST),
        }
        rows.append(Row("time zones", "over the bus", "ms", scaled(in_turns(rounds, takes), 1000)))
    return rows


def answer_seconds(service, question):
    if not PROCESSOR_TIME:
        return float(client("single", CALLS, *question)[0])
    before = service.processor_seconds()
    client("pipelined", CALLS, *question)
    return (service.processor_seconds() - before) / CALLS
