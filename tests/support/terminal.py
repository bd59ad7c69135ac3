"""A program at a terminal, like somebody who sits there sees it."""

import os
import re
import select
import subprocess
import time


class Terminal:
    """Runs a command at a terminal of its own; `popen` may give it another standard input. `text` is what came."""

    def __init__(self, command, **popen):
        self.own_end, end = os.openpty()
        self.text = ""
        session = ["setsid", "--wait"] if "stdin" in popen else ["setsid", "--wait", "--ctty"]
        streams = {"stdin": end, "stdout": end, "stderr": end}
        self.process = subprocess.Popen([*session, *command], **(streams | popen))
        os.close(end)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        os.close(self.own_end)  # a hangup for those who are still there
        if self.process.stdin:
            self.process.stdin.close()
        self.process.wait()

    def type(self, line):
        os.write(self.own_end, f"{line}\n".encode())

    def wait_for(self, pattern, limit=30):
        """Returns what came up to and with the first match behind what was waited for before."""
        end = time.monotonic() + limit
        while not (found := re.search(pattern, self.text)):
            more = self.read(max(end - time.monotonic(), 0))
            assert more, f"no {pattern!r} came, only {self.text!r}"
            self.text += more
        seen, self.text = self.text[: found.end()], self.text[found.end() :]
        return seen

    def rest(self, limit=30):
        """Returns what comes until nobody is at the terminal any more."""
        while more := self.read(limit):
            self.text += more
        return self.text

    def read(self, limit):
        readable, _, _ = select.select([self.own_end], [], [], limit)
        assert readable, f"nothing came, only {self.text!r}"
        try:
            return os.read(self.own_end, 4096).decode(errors="replace")
        except OSError:  # all have closed the other end
            return ""
