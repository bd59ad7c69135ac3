"""Stand-in for the PLC runtime's bus service, com.ozt.codesys with the methods apps and version.

It is on the bus from boot on, and leaves and comes back as the init system's job "codesys" is stopped and started.
What a method answers stands in /var/lib/plcruntime/<method>, read at each call: a signature and the value as JSON, such
as `as ["Pump", "Fan"]`, `i 35` or `s "3.5.14"`; a signature without a value is an answer without one. The line "error"
makes the call fail, "silence" leaves it without an answer. Without such a file the version is 35, and the applications
are those of the section [CmpApp] of /CODESYSControl/CODESYSControl.cfg. Each call becomes a line in
/var/log/plcruntime.log.
"""

import json
import os
import re

import dbus
import dbus.lowlevel
import dbus.mainloop.glib

from standins import mainloop

NAME = "com.ozt.codesys"
JOB_PATH = "/com/ubuntu/Upstart/jobs/codesys"
JOB_INTERFACE = "com.ubuntu.Upstart0_6.Job"
ANSWERS = "/var/lib/plcruntime"
CONFIGURATION = "/CODESYSControl/CODESYSControl.cfg"
LOG = "/var/log/plcruntime.log"


def configured_applications():
    """The names in the entries "Application.N=name" of the configuration, in order."""
    names = []
    section = ""
    try:
        with open(CONFIGURATION, errors="replace") as file:
            lines = file.read().split("\n")
    except FileNotFoundError:
        lines = []
    for line in lines:
        if line.startswith("["):
            section = line.strip()
        entry = re.fullmatch(r"Application\.\d+=(.*)", line)
        if entry and section == "[CmpApp]":
            names.append(entry[1])
    return names


DEFAULTS = {"apps": lambda: f"as {json.dumps(configured_applications())}", "version": lambda: "i 35"}


def answer_to(call, line):
    """The message to send, None for silence."""
    signature, _, value = line.strip().partition(" ")
    if signature == "silence":
        return None
    if signature == "error":
        return dbus.lowlevel.ErrorMessage(call, f"{NAME}.Error.Failed", "told to fail")
    answer = dbus.lowlevel.MethodReturnMessage(call)
    if value:
        answer.append(json.loads(value), signature=signature)
    return answer


def handle(bus, message):
    method = message.get_member()
    known = message.get_interface() == NAME and message.get_path() == "/" and method in DEFAULTS
    if not isinstance(message, dbus.lowlevel.MethodCallMessage) or not known:
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
    with open(LOG, "a") as log:
        log.write(f"{method}\n")
    try:
        with open(os.path.join(ANSWERS, method)) as file:
            line = file.read()
    except FileNotFoundError:
        line = DEFAULTS[method]()
    answer = answer_to(message, line)
    if answer:
        bus.send_message(answer)
    return dbus.lowlevel.HANDLER_RESULT_HANDLED


def main(tell_ready):
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    bus.add_message_filter(handle)
    job = {"dbus_interface": JOB_INTERFACE, "path": JOB_PATH}
    bus.add_signal_receiver(lambda instance: bus.request_name(NAME), "InstanceAdded", **job)
    bus.add_signal_receiver(lambda instance: bus.release_name(NAME), "InstanceRemoved", **job)
    bus.request_name(NAME)
    tell_ready()
    mainloop.run()
