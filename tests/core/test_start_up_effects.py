"""All that a start of the daemon does to the world outside it, in its order."""

from effects import traced
from insidetools import sanitizer_environment, shell
from interfacesfile import static_stanza
from mockservices import AvahiMock, ConnmanMock

JOBS = "bus: com.ubuntu.Upstart /com/ubuntu/Upstart/jobs"
SERVICE = "bus: net.connman /net/connman/service/ethernet_001122334455_cable"

OWN_NAME = "bus: RequestName com.ozt.nodekeep"
HEAR_ITS_END = (
    "bus: AddMatch type='signal',path='/org/freedesktop/DBus/Local',interface='org.freedesktop.DBus.Local',"
    "member='Disconnected'"
)
HEAR_CONNMAN = "bus: AddMatch type='signal',interface='net.connman.Service',member='PropertyChanged'"
HEAR_STARTED = "bus: AddMatch type='signal',interface='com.ozt.syscfgmgr',member='started'"
HEAR_UPLOADS = "bus: AddMatch type='signal',path='/',interface='com.ozt.httpdata',member='fileUploaded'"
FIND_SERVICE = "bus: net.connman /net/connman/service Introspect"
GIVE_ADDRESS = (
    f"{SERVICE} SetProperty IPv4.Configuration "
    '{"Address": "10.1.2.3", "Gateway": "10.0.0.1", "Method": "manual", "Netmask": "255.0.0.0"}'
)
GIVE_NAMESERVER = f'{SERVICE} SetProperty Nameservers.Configuration ["9.9.9.9"]'
READ_SETTINGS = f"{SERVICE} GetProperties"

# Nobody waits for these, so they leave from a thread of their own: all that is certain of their place is which
# messages they stand between.
ANNOUNCE_NAME = "bus: org.freedesktop.Avahi / SetHostName node-4711"
SCAN = "signal: /loader local.FwUpdateSettings scan"
START_NTP = f"{JOBS}/ntp Start [] false"
START_AUTOIP = f"{JOBS}/avahi_2dautoip Start [] false"
NOT_WAITED_FOR = (ANNOUNCE_NAME, SCAN, START_NTP, START_AUTOIP)


def test_a_first_start_after_an_update_does_this_and_nothing_else(new_device, tmp_path):
    new_device.start(daemon=False)
    shell(new_device, "touch /new_firmware; mkdir -p /srv/fwupdate/fwupdate0/public /srv/public /var/run/bareboxenv")
    new_device.write("/srv/fwupdate/fwupdate0/public/a", "from the firmware's maker\n")
    new_device.write("/srv/nodekeep/update", "NAND_UPDATE=fwupdate0\n")
    new_device.write("/srv/nodekeep/interfaces", static_stanza())

    # A tracer gets in the way of the search for leaks.
    environment = sanitizer_environment(ASAN_OPTIONS="detect_leaks=0")
    with ConnmanMock(new_device), AvahiMock(new_device), traced(new_device, tmp_path / "strace") as effects:
        new_device.start_daemon(env=environment)

    assert [effect for effect in effects if effect.startswith(("bus:", "signal:"))] == [
        OWN_NAME,
        HEAR_ITS_END,
        HEAR_CONNMAN,
        ANNOUNCE_NAME,
        HEAR_STARTED,
        HEAR_UPLOADS,
        ANNOUNCE_NAME,
        FIND_SERVICE,
        GIVE_ADDRESS,
        GIVE_NAMESERVER,
        SCAN,
        START_NTP,
        FIND_SERVICE,
        READ_SETTINGS,
        START_AUTOIP,
    ]
    assert [effect for effect in effects if effect not in NOT_WAITED_FOR] == [
        OWN_NAME,
        HEAR_ITS_END,
        r"platform: FactoryManager.FactoryManager system ^\/system($|\/h.*|\/time.*|\/network.*|\/can.*|\/syslog.*)",
        "platform: FactoryManager.start",
        "platform: Qmzlog.open com.ozt.nodekeep 168 0",
        "platform: Qmzlog.setSyslogLevelWarning",
        HEAR_CONNMAN,
        "tool: /usr/bin/rm -r -- /var/run/bareboxenv/",
        "tool: /usr/sbin/bareboxenv -l /var/run/bareboxenv/ /dev/mtdblock1",
        HEAR_STARTED,
        HEAR_UPLOADS,
        "tool: /usr/sbin/flash_eraseall /dev/mtdblock1",
        "tool: /usr/sbin/bareboxenv -s /var/run/bareboxenv/ /dev/mtdblock1",
        "tool: /bin/sh -c cp -dnRl /srv/fwupdate/fwupdate0/public/* /srv/public",
        "tool: cp -dnRl /srv/fwupdate/fwupdate0/public/a /srv/public",
        FIND_SERVICE,
        GIVE_ADDRESS,
        GIVE_NAMESERVER,
        "platform: Upstart.start ntp False",
        FIND_SERVICE,
        READ_SETTINGS,
        "tool: /usr/sbin/route -n",
        "platform: Upstart.start avahi_2dautoip False",
    ]
