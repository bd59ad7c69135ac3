"""What nodekeep-check-image finds in an image, in a running system, and in the sources that it has to know about."""

import contextlib
import gzip
import os
import pathlib
import re
import shutil
import subprocess

import pytest
from simdevice import PROJECT

CHECK = os.path.join(PROJECT, "packaging/nodekeep-check-image")
KNOWN = pathlib.Path(CHECK).read_text()
GUIDE = pathlib.Path(PROJECT, "docs/integration.md").read_text()

# Each thing that an image needs: the beginning of the line that names it, and what that says does not work.
PROGRAMS = {
    "/usr/sbin/nodekeep": ("/usr/sbin/nodekeep", "daemon"),
    "/usr/bin/dbus-daemon": ("bus daemon", "daemon"),
    "/usr/lib/systemd/systemd-udevd": ("udevd", "mounted later"),
    "/usr/sbin/bareboxenv": ("bareboxenv -l", "saveEnv"),
    "/usr/sbin/flash_eraseall": ("flash_eraseall", "saveEnv"),
    "/usr/bin/tar": ("tar -C", "firmware"),
    "/usr/bin/busybox": ("gzip", "firmware"),
    "/usr/bin/md5sum": ("md5sum", "firmware"),
    "/usr/bin/mv": ("mv", "firmware"),
    "/usr/bin/rm": ("rm", "deleteFw"),
    "/usr/bin/wget": ("wget -O", "startUpdateHttp"),
    "/usr/bin/cp": ("cp -dnRl", "/srv/public"),
    "/usr/bin/sh": ("/bin/sh -c", "/srv/public"),
    "/usr/sbin/shutdown": ("shutdown -r now", "reboot"),
    "/usr/sbin/route": ("route -n", "gateway"),
    "/usr/local/bin/gpg": ("gpg --verify", "resetWebPassword"),
    "/usr/bin/date": ("/bin/date", "getSytemTimeAsText"),
    "/usr/sbin/hwclock": ("/sbin/hwclock -r -u", "hardware clock"),
    "/usr/sbin/ifup": ("/sbin/ifup can0", "baudrate"),
    "/usr/sbin/ifdown": ("/sbin/ifdown can0", "baudrate"),
    "/usr/sbin/ifconfig": ("/sbin/ifconfig can0 down", "restart_ms"),
    "/usr/sbin/canconfig": ("/sbin/canconfig can0", "getActualBaudrate"),
    "/etc/network/can-pre-up": ("/etc/network/can-pre-up", "can0"),
}
LINKS = {
    "/usr/bin/gzip": ("gzip", "firmware"),
    "/var/run": ("/var/run/", "boot variables"),
}
FILES = {
    "/usr/share/dbus-1/system.d/com.ozt.nodekeep.conf": ("policy for com.ozt.nodekeep", "ends"),
    "/usr/share/dbus-1/system.d/avahi.conf": ("policy for org.freedesktop.Avahi", "host name"),
    "/etc/dbus-1/system.d/connman.conf": ("policy for net.connman", "/system/network"),
    "/etc/dbus-1/system.d/Upstart.conf": ("policy for com.ubuntu.Upstart", "job"),
    "/etc/dbus-1/system.d/plc.conf": ("policy for com.ozt.codesys", "PLC"),
    "/etc/init/nodekeep.conf": ("job nodekeep", "daemon"),
    "/etc/init/avahi-daemon.conf": ("job avahi-daemon", "host name"),
    "/etc/init/avahi-autoip.conf": ("job avahi-autoip", "link-local"),
    "/etc/init/hostname.conf": ("job hostname", "host name"),
    "/etc/init/nmbd.conf": ("job nmbd", "Windows"),
    "/etc/systemd/system/ntp.service": ("job ntp", "/system/time/ntp"),
    "/usr/lib/systemd/system/syslogd.service": ("job syslogd", "/system/syslog"),
    "/etc/init/dorlanserver.conf": ("job dorlanserver", "reboot"),
    "/etc/init/codesys.conf": ("job codesys", "restartCodesys"),
    "/CODESYSControl/CODESYSControl.cfg": ("/CODESYSControl/CODESYSControl.cfg", "PLC"),
    "/etc/oztversion.conf": ("/etc/oztversion.conf", "oztversion"),
    "/root/.gnupg/pubring.kbx": ("/root/.gnupg/pubring.kbx", "resetWebPassword"),
}
DIRECTORIES = {
    "/srv": ("/srv/", "data partition"),
    "/proc": ("/proc/", "data partition"),
    "/tmp": ("/tmp/", "downloaded"),
    "/run": ("/var/run/", "boot variables"),
    "/var/log": ("/var/log/", "events"),
    "/etc/ssh": ("/etc/ssh/", "SSH keys"),
    "/usr/share/zoneinfo": ("/usr/share/zoneinfo/", "jsonTimezones"),
}
KERNEL = {
    "CAN": ("kernel feature CAN:", "/system/can"),
    "MTD_BLOCK": ("kernel feature MTD_BLOCK:", "/dev/mtdblock1"),
    "UBIFS_FS": ("kernel feature UBIFS_FS:", "data partition"),
}
MODULES = {"CAN": "net/can/can.ko", "MTD_BLOCK": "drivers/mtd/mtdblock.ko.xz", "UBIFS_FS": "fs/ubifs/ubifs.ko"}
LIBRARIES = "/usr/lib/arm-linux-gnueabihf"
BUS_NAMES = {
    "/usr/share/dbus-1/system.d/avahi.conf": "org.freedesktop.Avahi",
    "/etc/dbus-1/system.d/connman.conf": "net.connman",
    "/etc/dbus-1/system.d/Upstart.conf": "com.ubuntu.Upstart",
    "/etc/dbus-1/system.d/plc.conf": "com.ozt.codesys",
}
POLICY = """<busconfig>
  <policy user="root"><allow own="com.ozt.nodekeep"/></policy>
  <policy
      group="settings"><allow send_destination="com.ozt.nodekeep"/></policy>
  <policy context="default"><deny send_destination="com.ozt.nodekeep"/></policy>
  <!-- <policy user="web"> or
       <policy group="web"> -->
</busconfig>
"""
CONFIGURATION = "boot/config-6.1.0"


class Image:
    """The root file system of a device, laid out in a directory, with nothing missing."""

    def __init__(self, root, stage):
        self.root = root
        for path in (*DIRECTORIES, LIBRARIES):
            self.place(path).mkdir(parents=True)
        for path in PROGRAMS:
            self.write(path, "", 0o755)
        for path in FILES:
            self.write(path, "")
        # Links of the image lead to its own root; on this machine most of them lead to something too.
        self.link("/bin", "/usr/bin")
        self.link("/sbin", "usr/./sbin/")
        self.link("/lib", "../../usr/lib")
        self.link("/var/run", "../run")
        self.link("/usr/bin/gzip", "/etc/alternatives/gzip")
        self.link("/etc/alternatives/gzip", "../../bin/busybox")
        for path, name in BUS_NAMES.items():
            self.write(path, f"<busconfig><policy user='root'><allow own='{name}'/></policy></busconfig>\n")
        self.write("/usr/share/dbus-1/system.d/com.ozt.nodekeep.conf", POLICY)
        self.write("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n")
        self.write("/etc/group", "root:x:0:\nsettings:x:120:web\n")
        self.write(CONFIGURATION, "".join(f"CONFIG_{option}=m\n" for option in KERNEL))
        # Without what a debugger needs, as on a device.
        subprocess.run(["strip", "-o", self.place("/usr/sbin/nodekeep"), f"{stage}/usr/sbin/nodekeep"], check=True)
        for library in self.libraries():
            self.write(f"{LIBRARIES}/{library}", "")
        self.write(self.loader(), "")

    def place(self, path):
        return self.root / path.lstrip("/")

    def write(self, path, text, mode=0o644):
        place = self.place(path)
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_text(text)
        place.chmod(mode)

    def link(self, path, target):
        self.place(path).parent.mkdir(parents=True, exist_ok=True)
        self.place(path).symlink_to(target)

    def libraries(self):
        return re.findall(r"\(NEEDED\).*\[(.*)\]", self.read_elf("--dynamic"))

    def loader(self):
        return re.search(r"interpreter: (.*)\]", self.read_elf("--program-headers"))[1]

    def read_elf(self, option):
        command = ["readelf", "--wide", option, self.place("/usr/sbin/nodekeep")]
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout


@contextlib.contextmanager
def without(image, path):
    """Takes something away from an image for a while."""
    place, aside = image.place(path), image.root.parent / "aside"
    place.rename(aside)
    try:
        yield
    finally:
        if place.is_symlink() or place.is_file():
            place.unlink()
        aside.rename(place)


@contextlib.contextmanager
def rewritten(image, path, text):
    """Gives a file of an image another text for a while."""
    old = image.place(path).read_text()
    image.write(path, text)
    try:
        yield
    finally:
        image.write(path, old)


@pytest.fixture(scope="module")
def image(tmp_path_factory, stage):
    return Image(tmp_path_factory.mktemp("image") / "root", stage)


@pytest.fixture(scope="module")
def busybox(tmp_path_factory):
    """The environment of a machine with no other tools than those of busybox."""
    tools = tmp_path_factory.mktemp("busybox")
    subprocess.run(["busybox", "--install", "-s", tools], check=True)
    return {"PATH": str(tools)}


@pytest.fixture
def look(busybox):
    """Looks over an image, and returns the lines about what is missing."""

    def run(root, **run):
        result = subprocess.run(["sh", CHECK, root], env=busybox, capture_output=True, text=True, check=False, **run)
        lines = result.stdout.splitlines()
        assert result.returncode == (1 if lines else 0), result.stderr
        return lines, result.stderr

    return run


def only(look, image, name, loss):
    (line,), errors = look(image.root)
    thing, _, rest = line.partition(": ")
    assert f"{thing}:".startswith(name) and not thing.endswith(" ")
    assert loss in rest
    assert errors == ""


def test_an_image_that_has_all_is_passed_in_silence(look, image):
    assert look(image.root) == ([], "")


def test_the_shell_and_tools_of_debian_come_to_the_same(image):
    command = [CHECK, image.root]
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")

    with without(image, "/usr/bin/busybox"):
        result = subprocess.run(command, capture_output=True, text=True, check=False)
    assert (result.returncode, result.stderr) == (1, "")
    assert re.fullmatch("gzip [^\n]*: [^\n]*\n", result.stdout)


NEEDED = {**PROGRAMS, **LINKS, **FILES, **DIRECTORIES}


@pytest.mark.parametrize("path", NEEDED)
def test_what_is_taken_away_is_named_alone(look, image, path):
    with without(image, path):
        only(look, image, *NEEDED[path])


def test_each_library_that_is_taken_away_is_named_alone(look, image):
    libraries = image.libraries()
    assert {"libQMZ.so.1", "libudev.so.1", "libQt6DBus.so.6"} <= set(libraries)

    for library in libraries:
        with without(image, f"{LIBRARIES}/{library}"):
            only(look, image, f"{library}:", "does not start")
    with without(image, image.loader()):
        only(look, image, f"{image.loader()}:", "does not start")


def test_libraries_are_found_where_the_loader_is_told_to_look(look, image):
    image.write("/etc/ld.so.conf", "include /etc/ld.so.conf.d/*.conf\n")
    image.write("/etc/ld.so.conf.d/qt.conf", "# Qt\n/opt/qt6/lib\n")
    image.place("/opt/qt6").mkdir(parents=True)
    image.place(LIBRARIES).rename(image.place("/opt/qt6/lib"))
    try:
        assert look(image.root) == ([], "")
    finally:
        image.place("/opt/qt6/lib").rename(image.place(LIBRARIES))


def test_without_its_directory_all_that_is_in_it_is_missing_too(look, image):
    with without(image, "/etc/network"):
        lines, _ = look(image.root)

    assert [line.partition(": ")[0] for line in lines] == ["/etc/network/", "/etc/network/can-pre-up"]


@pytest.mark.parametrize("path", ["/usr/sbin/ifup", "/usr/bin/tar"])
def test_a_program_that_can_not_be_executed_is_missing(look, image, path):
    image.place(path).chmod(0o644)
    try:
        only(look, image, *PROGRAMS[path])
    finally:
        image.place(path).chmod(0o755)


def test_a_program_with_a_fixed_place_is_missing_elsewhere(look, image):
    with without(image, "/usr/sbin/ifup"):
        image.write("/usr/bin/ifup", "", 0o755)
        only(look, image, *PROGRAMS["/usr/sbin/ifup"])
    image.place("/usr/bin/ifup").unlink()


def test_a_link_out_of_the_image_leads_into_it(look, image, tmp_path):
    (tmp_path / "tar").write_text("")
    (tmp_path / "tar").chmod(0o755)
    with without(image, "/usr/bin/tar"):
        image.link("/usr/bin/tar", f"../../../../../../../../../../..{tmp_path}/tar")
        only(look, image, *PROGRAMS["/usr/bin/tar"])


def test_links_that_lead_to_each_other_lead_nowhere(look, image):
    with without(image, "/usr/bin/tar"):
        image.link("/usr/bin/tar", "tar")
        only(look, image, *PROGRAMS["/usr/bin/tar"])


def test_a_unit_that_leads_to_nothing_is_no_job(look, image):
    with without(image, "/etc/systemd/system/ntp.service"):
        image.link("/etc/systemd/system/ntp.service", "/dev/null")
        only(look, image, *FILES["/etc/systemd/system/ntp.service"])


def test_who_may_call_by_the_policy_has_to_be_there(look, image):
    with rewritten(image, "/etc/group", "root:x:0:\n"):
        only(look, image, "group settings:", "bus policy")
    with rewritten(image, "/etc/passwd", "rooty:x:0:0:root:/root:/bin/sh\n"):
        only(look, image, "user root:", "bus policy")


def test_a_device_without_a_plc_needs_nothing_of_one(look, image):
    plc = ("/CODESYSControl", "/etc/dbus-1/system.d/plc.conf", "/etc/init/codesys.conf")
    aside = image.root.parent / "plc"
    aside.mkdir()
    for number, path in enumerate(plc):
        image.place(path).rename(aside / str(number))
    try:
        assert look(image.root) == ([], "")
    finally:
        for number, path in enumerate(plc):
            (aside / str(number)).rename(image.place(path))


@pytest.mark.parametrize("option", KERNEL)
def test_a_feature_that_the_kernel_was_built_without_is_named_alone(look, image, option):
    others = "".join(f"CONFIG_{other}=y\n" for other in KERNEL if other != option)

    with rewritten(image, CONFIGURATION, f"# CONFIG_{option} is not set\nCONFIG_{option}_RO=y\n{others}"):
        only(look, image, *KERNEL[option])


@pytest.mark.parametrize("option", KERNEL)
def test_without_a_configuration_the_kernels_modules_are_looked_at(look, image, option):
    with without(image, CONFIGURATION):
        modules = image.place("/usr/lib/modules/6.1.0")
        modules.mkdir(parents=True)
        (modules / "modules.builtin").write_text("kernel/drivers/mtd/mtd.ko\nkernel/net/can/can-raw.ko\n")
        names = [f"kernel/{path}: kernel/crypto/zlib.ko\n" for other, path in MODULES.items() if other != option]
        (modules / "modules.dep").write_text("".join(names))
        only(look, image, *KERNEL[option])
        shutil.rmtree(modules)


def test_a_kernel_that_nothing_tells_of_is_told_and_not_missing(look, image):
    with without(image, CONFIGURATION):
        lines, errors = look(image.root)

    assert lines == []
    assert errors.startswith("The kernel was not looked at")


def test_the_configuration_that_a_kernel_holds_itself_is_read(look, image):
    with without(image, CONFIGURATION):
        image.place("/proc/config.gz").write_bytes(gzip.compress(b"CONFIG_CAN=y\nCONFIG_MTD_BLOCK=y\n"))
        only(look, image, *KERNEL["UBIFS_FS"])
        image.place("/proc/config.gz").unlink()


@pytest.mark.parametrize("arguments", [["--help"], ["-v"], ["/", "/"], [""], ["/nowhere"], [CHECK]])
def test_wrong_use_is_told_by_its_own_status(arguments):
    result = subprocess.run([CHECK, *arguments], capture_output=True, text=True, check=False)

    assert (result.returncode, result.stdout) == (2, "")
    assert len(result.stderr.splitlines()) == 1


def sources():
    return "".join(path.read_text() for path in pathlib.Path(PROJECT, "src").rglob("*") if path.is_file())


def test_every_program_that_the_daemon_runs_is_looked_for_and_told():
    text = sources()
    programs = set(re.findall(r'(?:[rR]un\w*Tool|[sS]tartTool|toolOutput)\((?:\*?\w+, )?u"([^"]+)"', text))
    programs |= set(re.findall(r'"(/s?bin/[^"]+)"', text))
    assert len(programs) >= 17

    for program in programs:
        assert re.search(rf"^ +{'program' if program.startswith('/') else 'tool'} {program} ", KNOWN, re.M), program
        assert f"`{program}`" in GUIDE, program


def test_every_job_that_the_daemon_starts_or_stops_is_looked_for_and_told():
    jobs = set(re.findall(r'(?:Upstart::(?:start|stop)\(u"|job = u"|/jobs/)(\w+)', sources()))
    assert len(jobs) >= 8

    for job in jobs:
        assert re.search(rf"^ +job {job.replace('_2d', '-')} ", KNOWN, re.M), job
        assert f"`{job.replace('_2d', '-')}`" in GUIDE, job


def test_every_service_that_the_daemon_calls_is_looked_for():
    names = set(re.findall(r'"((?:com|net|org)\.\w[\w.]+)"', sources()))
    looked_for = re.findall(r"^ +bus_name (\S+) ", KNOWN, re.M)
    assert "com.ozt.codesys" in names and len(looked_for) >= 5

    # Signals are heard whatever name their sender has.
    for name in names - {"com.ozt.httpdata", "com.ozt.syscfgmgr"}:
        assert name.startswith(("org.freedesktop.DBus", *looked_for)), name


def test_every_directory_that_the_daemon_uses_is_looked_at():
    paths = set(re.findall(r'"(/(?:CODESYSControl|dev|etc|proc|run|srv|sys|tmp|usr|var)/[^"%]*)"', sources()))
    assert {"/etc/hostname", "/srv/fwupdate", "/var/run/bareboxenv/", "/dev/canterm"} <= paths

    for path in paths - {"/sys/class/leds/qmz:signal", "/run/qmz/od"}:  # a device may do without
        above = [str(parent) for parent in pathlib.PurePosixPath(path).parents][:-1]
        assert any(re.search(rf"\s{re.escape(place)}\s", KNOWN) for place in [path.rstrip("/"), *above]), path


# What the simulated device does without: its init system takes any job, and its CAN port is no interface.
NOT_SIMULATED = [
    "/etc/network/can-pre-up",
    "/root/.gnupg/pubring.kbx",
    "/srv/public/",
    "backing device ubifs_1_2",
    "interface eth0",
    "interface can0",
]

# In mounts of its own, as the daemon goes on meanwhile.
RUNNING = {
    "": [],
    "mount -t tmpfs none /run/udev": ["running udevd"],
    "umount /srv": ["data partition at /srv"],
    "mount -t tmpfs -o ro none /var/log": ["write access to /var/log"],
    "mount -o remount,bind,ro /": ["write access to /", "write access to /etc", "write access to /var/log"],
    "mount --bind /etc /etc; mount -o remount,bind,ro /etc": ["write access to /etc"],
    "mount -t tmpfs none /mnt; touch /mnt/null; mount --bind /dev/null /mnt/null; mount --rbind /mnt /dev": [
        "/dev/mtdblock1",
        "/dev/canterm",
        "/dev/shm/",
    ],
    "mount -t tmpfs none /run/dbus": ["system bus"],
    "mount -t tmpfs none /proc/sys/kernel": ["/proc/sys/kernel/hostname", "/proc/sys/kernel/random/uuid"],
    "mount --bind /bin/false /bin/cp": ["options -dnRl of /usr/bin/cp"],
}


def test_of_a_running_system_mounts_devices_and_options_are_looked_at_too(device):
    def missing(before):
        command = ["unshare", "--mount", "sh", "-ec", f'{before}; exec "$@"', "sh", CHECK]
        result = device.exec(command)
        assert result.returncode == 1, result.stderr
        things = [line.partition(": ")[0] for line in result.stdout.splitlines()]
        # The kernel is the machine's, and so are programs and units that the device does not need.
        return [thing for thing in things if not thing.startswith(("job ", "kernel ", "udevd"))]

    for before, things in RUNNING.items():
        expected = {*NOT_SIMULATED, *things} - ({"/srv/public/"} if "/srv" in before else set())
        assert set(missing(before or ":")) == expected, before


def test_only_root_may_look_over_the_running_system(device):
    result = device.exec(["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", CHECK])

    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.endswith("only root can look over the running system.\n")
