"""python-dbusmock template of the Avahi server, as far as it concerns the host name.

    python3 -m dbusmock --template tests/network/mocks/avahi.py

Whom it was told by SetHostName is recorded by python-dbusmock (GetMethodCalls at "/").
"""

BUS_NAME = "org.freedesktop.Avahi"
MAIN_OBJ = "/"
MAIN_IFACE = "org.freedesktop.Avahi.Server"
SYSTEM_BUS = True


def load(mock, parameters):
    mock.host_name = parameters.get("host_name", "unnamed")
    mock.AddMethods(
        MAIN_IFACE,
        [
            ("SetHostName", "s", "", "self.host_name = args[0]"),
            ("GetHostName", "", "s", "ret = self.host_name"),
            ("GetHostNameFqdn", "", "s", "ret = self.host_name + '.local'"),
        ],
    )
