"""A device with a PLC runtime."""

import json

import simdevice

DIRECTORY = "/srv/codesys"
CONFIGURATION = "/CODESYSControl/CODESYSControl.cfg"
LIST = f"{DIRECTORY}/qmz.cfg"
LOADER = "local.FwUpdateSettings"

# What the runtime has at first; a backup takes all of it but for the last.
FILES = {
    "SysFileMap.cfg": "[SysFileMap]\n/srv/codesys/recipe.txt=1\n/srv/codesys/Pump.app=2\n",
    "recipe.txt": "flour\n",
    "Pump.app": "code of the pump\n" * 5000,
    "Pump.crc": "1111",
    "Fan.app": "code of the fan\n",
    "Fan.crc": "2222",
    "visu/index.htm": "<p>",
    "PlcLogic/Application/logic": "if",
}


class PlcDevice(simdevice.SimulatedDevice):
    def install_runtime(self):
        self.exec(["mkdir", "-p", "/CODESYSControl"], check=True)
        self.write(CONFIGURATION, "[SysFile]\na=b\n\n[CmpApp]\nApplication.1=Old\nx=y\n")
        for name, content in FILES.items():
            self.write(f"{DIRECTORY}/{name}", content)
        self.let_runtime_answer("apps", "as", ["Pump", "Fan"])

    def let_runtime_answer(self, method, signature, value=None):
        line = signature if value is None else f"{signature} {json.dumps(value)}"
        self.write(f"/var/lib/plcruntime/{method}", line)

    def asked_runtime(self):
        """The methods of the runtime that were called so far."""
        log = "/var/log/plcruntime.log"
        return self.read(log).split() if self.exists(log) else []

    def runtime_runs(self):
        return "com.ozt.codesys" in self.exec(["busctl", "list", "--acquired"], check=True).stdout

    def wait_runtime(self, runs):
        self.wait_for(lambda: self.runtime_runs() is runs, what="the runtime to come" if runs else "the runtime to go")

    def files(self, top=DIRECTORY):
        """The files below a directory with their contents."""
        names = self.exec(["find", top, "-type", "f", "-printf", "%P\\n"], check=True).stdout.splitlines()
        return {name: self.read(f"{top}/{name}") for name in names}

    def archives(self):
        return self.exec(["sh", "-c", "ls /tmp/*.tar.gz 2>/dev/null"]).stdout.split()

    def events(self):
        calls = ("SystemEvent.codesysFileRemoved", "SysCfgAccess.startLedEffect", "SystemEvent.firmwareUpdate")
        return [
            [line["call"].partition(".")[2], *line["args"]] for line in self.platform_log() if line["call"] in calls
        ]

    def removals(self, origin, *names):
        return [["codesysFileRemoved", name, origin] for name in names]


RESTART = [["Stop", "codesys", [], False], ["Start", "codesys", [], False]]
