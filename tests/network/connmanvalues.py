"""Values of connman's properties: those that it tells, those that it is told, and odd ones."""

import dbus


def values(**settings):
    """A map as connman tells it, of an address for example."""
    return dbus.Dictionary({name.capitalize(): value for name, value in settings.items()}, signature="sv")


def manual(address="10.1.2.3", netmask="255.0.0.0", gateway="10.0.0.1"):
    """What connman is told of a static address."""
    return ("IPv4.Configuration", {"Address": address, "Gateway": gateway, "Method": "manual", "Netmask": netmask})


def nameservers(*servers):
    """What connman is told of name servers."""
    return ("Nameservers.Configuration", list(servers))


# A static address as connman tells of it.
MANUAL = values(method="manual", address="10.1.2.3", netmask="255.0.0.0", gateway="10.0.0.1")

# Values of all kinds, which nobody expects.
VARIANTS = {
    "a text": "x",
    "an empty text": "",
    "a number": dbus.Int64(-1),
    "a byte": dbus.Byte(7),
    "a truth": True,
    "a double": float("nan"),
    "a path": dbus.ObjectPath("/a"),
    "a signature": dbus.Signature("a{sv}"),
    "texts": dbus.Array(["a", "b"], signature="s"),
    "no numbers": dbus.Array([], signature="i"),
    "bytes": dbus.ByteArray(b"\0\1"),
    "another map": dbus.Dictionary({dbus.Int32(1): "a"}, signature="is"),
    "a map of texts": dbus.Dictionary({"Address": "10.0.0.1"}, signature="ss"),
    "an empty map": dbus.Dictionary({}, signature="sv"),
    "a structure": dbus.Struct(("a", 1, dbus.Array([1], signature="i")), signature=None),
    "a variant in a variant": dbus.String("x", variant_level=3),
    "a deep nest": dbus.Array([dbus.Array([dbus.Dictionary({"a": values(b="c")}, signature="sa{sv}")])]),
}
