"""Stand-in for the init system's bus service: every job there could be takes Start, Stop and Restart.

Each call becomes a line of JSON in /var/log/upstart-jobs.jsonl. Where the device has an executable
/etc/init-jobs/<job>, that runs with "start", "stop" or "restart"; a caller who wants to wait waits for its end. The
signals InstanceAdded and InstanceRemoved of the job tell the stand-ins of services in which order they were called.
"""

import collections
import datetime
import json
import os
import signal

import dbus
import dbus.mainloop.glib
import dbus.service

from standins import mainloop

JOBS_PATH = "/com/ubuntu/Upstart/jobs"
JOB_INTERFACE = "com.ubuntu.Upstart0_6.Job"
HOOKS = "/etc/init-jobs"
LOG = "/var/log/upstart-jobs.jsonl"
NO_INPUT = [(os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0)]


def record(job, call, env, wait):
    entry = {
        "time": datetime.datetime.now().isoformat(timespec="milliseconds"),
        "job": job,
        "call": call,
        "env": [str(variable) for variable in env],
        "wait": bool(wait),
    }
    with open(LOG, "a") as log:
        log.write(json.dumps(entry) + "\n")


def nobody(*arguments):
    """Whoever asked has his answer."""


class Jobs(dbus.service.FallbackObject):
    """Runs what is asked of one job in order, and different jobs side by side."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.waiting = collections.defaultdict(collections.deque)

    def act(self, path, call, env, wait, done, failed):
        job = path.removeprefix(JOBS_PATH + "/")
        record(job, call, env, wait)
        if call != "Start":
            self.InstanceRemoved(path + "/_", job="/" + job)
        if call != "Stop":
            self.InstanceAdded(path + "/_", job="/" + job)
        hook = os.path.join(HOOKS, job)
        if not os.access(hook, os.X_OK):
            done()
            return
        if not wait:
            done()
            done, failed = nobody, nobody
        queue = self.waiting[job]
        queue.append(([hook, call.lower()], done, failed))
        if len(queue) == 1:
            self.run_next(queue)

    def run_next(self, queue):
        while queue:
            command, done, failed = queue[0]
            try:
                pid = os.posix_spawn(command[0], command, os.environ, file_actions=NO_INPUT, setsigdef=[signal.SIGPIPE])
            except OSError as error:
                failed(dbus.DBusException(str(error), name="com.ubuntu.Upstart0_6.Error.JobFailed"))
                queue.popleft()
                continue
            mainloop.when_ended(pid, lambda: self.ended(queue))
            return

    def ended(self, queue):
        _, done, _ = queue.popleft()
        done()
        self.run_next(queue)

    @dbus.service.signal(JOB_INTERFACE, signature="o", rel_path_keyword="job")
    def InstanceAdded(self, instance, job=""):
        pass

    @dbus.service.signal(JOB_INTERFACE, signature="o", rel_path_keyword="job")
    def InstanceRemoved(self, instance, job=""):
        pass

    @dbus.service.method(
        JOB_INTERFACE, in_signature="asb", out_signature="o", path_keyword="path", async_callbacks=("done", "failed")
    )
    def Start(self, env, wait, path, done, failed):
        self.act(path, "Start", env, wait, lambda: done(path + "/_"), failed)

    @dbus.service.method(
        JOB_INTERFACE, in_signature="asb", out_signature="", path_keyword="path", async_callbacks=("done", "failed")
    )
    def Stop(self, env, wait, path, done, failed):
        self.act(path, "Stop", env, wait, done, failed)

    @dbus.service.method(
        JOB_INTERFACE, in_signature="asb", out_signature="o", path_keyword="path", async_callbacks=("done", "failed")
    )
    def Restart(self, env, wait, path, done, failed):
        self.act(path, "Restart", env, wait, lambda: done(path + "/_"), failed)


def main(tell_ready):
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    jobs = Jobs(bus, JOBS_PATH)
    name = dbus.service.BusName("com.ubuntu.Upstart", bus, do_not_queue=True)
    tell_ready()
    mainloop.run()
    del name, jobs  # until here they had to live
