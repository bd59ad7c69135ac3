"""/system/network as a client sees it."""

import dbus

PATH = "/system/network"
INTERFACE = "local.NetworkInterface"
PROPERTIES = ("ipaddress", "netmask", "gateway", "dhcp", "nameserver")


class NetworkClient:
    """The five settings as attributes, and the calls. `bus` is a BusClient."""

    def __init__(self, bus):
        super().__setattr__("bus", bus)

    def __getattr__(self, name):
        if name not in (*PROPERTIES, "macaddress"):
            raise AttributeError(name)
        value = self.bus.get(PATH, INTERFACE, name)
        return bool(value) if isinstance(value, dbus.Boolean) else str(value)

    def __setattr__(self, name, value):
        if name not in PROPERTIES:
            raise AttributeError(name)
        self.bus.set(PATH, INTERFACE, name, value)

    @property
    def settings(self):
        """All five, by name."""
        return {name: getattr(self, name) for name in PROPERTIES}

    def write(self, **settings):
        for name, value in settings.items():
            setattr(self, name, value)

    def call(self, method, *arguments, **options):
        return self.bus.call(PATH, method, *arguments, interface=INTERFACE, **options)

    def save(self):
        return bool(self.call("saveChanges"))

    def send_save(self):
        """Has the settings saved and waits for no answer: what is written next comes right behind it."""
        self.bus.send(PATH, "saveChanges", interface=INTERFACE)

    def read(self):
        """Lets the daemon read all settings anew."""
        self.call("getCurrentSettings")
