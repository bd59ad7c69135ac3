"""Any message gets an answer or an error, and none ends the daemon or costs it memory for good."""

import concurrent.futures
import itertools
import random

import dbus
import dbus.lowlevel
import dbus.types
import pytest
from busclient import PROPERTIES, BusClient
from hostilevalues import TEXTS
from insidetools import daemon_children, shadow, shell, start_shadowed

# One value for each kind of thing that a message can hold.
ARGUMENTS = {
    "s": "text",
    "b": True,
    "y": 255,
    "n": -1,
    "q": 65535,
    "i": -(2**31),
    "u": 2**32 - 1,
    "x": -(2**63),
    "t": 2**64 - 1,
    "d": -1.5,
    "o": "/system",
    "g": "a{sv}",
    "v": dbus.Struct((1, "a"), signature="is"),
    "ay": b"\0\xff",
    "as": ["a", ""],
    "aas": [["a"], []],
    "a{sv}": {"a": dbus.Array([], signature="v")},
    "a{oa{sv}}": {"/": {}},
    "(sv(ai))": ("a", dbus.Int32(1), ([],)),
    "h": dbus.types.UnixFd,  # made anew for every message
}

PING_LIMIT = 10


@pytest.fixture(scope="module")
def module_device(module_device):
    """A device on which a reboot is asked for and does not happen, and nothing is to be had from the network."""
    shadow(module_device, "shutdown", "exit 0")
    shadow(module_device, "wget", "exit 8")
    module_device.stop_daemon()
    start_shadowed(module_device)
    return module_device


def value_of(kind):
    value = ARGUMENTS[kind]
    return value(0) if value is dbus.types.UnixFd else value


def answered(client, path, method, *arguments, **options):
    """The error's name, None for an answer; either has to come."""
    error = client.error_of(path, method, *arguments, limit=PING_LIMIT, **options)
    assert error not in ("NoReply", "Disconnected", "NameHasNoOwner", "ServiceUnknown"), (path, method, options)
    return error


@pytest.mark.parametrize("path", ["/", "/nothing", "/system/nothing", "/system/no/x", "/loader/config/x", "/version/x"])
def test_an_unknown_object_is_an_error(client, path):
    assert answered(client, path, "getAll") in ("UnknownObject", "UnknownMethod")


@pytest.mark.parametrize("interface", ["local.BareboxConfig", "local.Nothing", "org.freedesktop.DBus.ObjectManager"])
def test_an_unknown_interface_is_an_error(client, interface):
    assert answered(client, "/system", "get", "a", interface=interface) in ("UnknownInterface", "UnknownMethod")


def test_an_unknown_method_is_an_error(client):
    for path in client.paths():
        assert answered(client, path, "nothing") == "UnknownMethod"


def test_a_message_needs_no_interface(client):
    assert client.call("/loader/system", "getTrimmed", "article", interface=None) == "QMZ-2040"


def without_parameters(methods):
    """The names that can be called without arguments, and so with any: what a method does not take is not looked at."""
    return {(method.path, method.name) for method in methods if not method.signature}


def test_every_method_refuses_every_wrong_kind_of_argument(client):
    loose = without_parameters(client.methods())
    for method in client.methods():
        for wrong in (*ARGUMENTS, "si", "ssss", "ii"):
            if wrong == method.signature:
                continue
            values = [value_of(wrong)] if wrong in ARGUMENTS else [value_of(kind) for kind in wrong]
            error = answered(client, method.path, method.name, *values, interface=method.interface, signature=wrong)
            if (method.path, method.name) not in loose:
                assert error == "UnknownMethod", (method, wrong)
    client.ping()


def test_every_method_refuses_a_call_without_its_arguments(client):
    loose = without_parameters(client.methods())
    for method in client.methods():
        if (method.path, method.name) not in loose:
            assert answered(client, method.path, method.name, interface=method.interface) == "UnknownMethod"


@pytest.mark.parametrize("text", TEXTS.values(), ids=TEXTS)
def test_every_method_takes_any_text(device, client, text):
    number = len(text)
    others = {"b": True, "i": number, "u": number, "t": number, "v": dbus.String(text, variant_level=1)}

    for method in client.methods():
        values = [text if kind == "s" else others[kind] for kind in method.signature]
        options = {"interface": method.interface, "signature": method.signature}
        assert answered(client, method.path, method.name, *values, **options) is None
    client.ping()
    assert device.daemon_status()["running"]


def test_random_calls_are_all_answered(client):
    source = random.Random(4711)
    variants = [variant_of(kind) for kind in ARGUMENTS]
    makers = {
        "s": lambda: "".join(chr(source.randrange(1, source.choice((128, 0xD800)))) for _ in range(9)),
        "b": lambda: source.random() < 0.5,
        "i": lambda: source.randrange(-(2**31), 2**31),
        "u": lambda: source.randrange(2**32),
        "t": lambda: source.randrange(2**64),
        "v": lambda: source.choice(variants),
    }
    methods = [method for method in client.methods() if not method.name.startswith(("saveEnv", "loadEnv"))]

    for method in source.choices(methods, k=500):
        values = [makers[kind]() for kind in method.signature]
        answered(client, method.path, method.name, *values, interface=method.interface, signature=method.signature)


@pytest.mark.parametrize("kind", ARGUMENTS)
def test_a_property_refuses_what_is_no_text_or_takes_it_as_text(client, kind):
    before = client.get("/system", "local.System", "hostname")

    error = client.error_of_set("/system", "local.System", "hostname", variant_of(kind))

    client.ping()
    assert error in (None, "InternalError")
    if error or kind in "nixd":  # a number below zero makes no host name
        assert client.get("/system", "local.System", "hostname") == before


def variant_of(kind):
    if kind == "h":
        return dbus.types.UnixFd(0)
    carrier = dbus.lowlevel.SignalMessage("/", "a.b", "c")
    carrier.append(value_of(kind), signature=kind)
    return carrier.get_args_list()[0]


def test_properties_that_do_not_exist_are_errors(client):
    assert client.error_of("/system", "Get", "local.System", "nothing", interface=PROPERTIES) == "UnknownProperty"
    assert client.error_of("/system", "Get", "local.Nothing", "hostname", interface=PROPERTIES) == "UnknownInterface"
    assert client.error_of_set("/system", "local.System", "nothing", "a") == "UnknownProperty"


def test_calls_that_want_no_answer_are_served(client):
    client.send("/system/guiLevel1", "set", "quiet", "1")

    client.ping()

    assert client.call("/system/guiLevel1", "get", "quiet") == "1"


def test_many_clients_at_once_are_all_served(device):
    def work(number):
        with BusClient(device) as client:
            for count in range(20):
                client.call("/system/guiLevel2", "set", f"client{number}", str(count))
                assert client.call("/system/guiLevel2", "get", f"client{number}") == str(count)
        return True

    with concurrent.futures.ThreadPoolExecutor(max_workers=20) as pool:
        assert all(pool.map(work, range(20)))


def test_a_client_may_leave_while_it_is_served(new_device):
    new_device.start(daemon=False)
    shell(new_device, "mkfifo /run/go")
    shadow(new_device, "flash_eraseall", "read line </run/go")
    start_shadowed(new_device)
    with BusClient(new_device) as leaving:
        leaving.send("/loader", "saveEnv", want_answer=True)
        leaving.send("/loader", "lookupConfig", "nothing", want_answer=True)
        new_device.wait_for(lambda: daemon_children(new_device), what="the daemon to wait for its tool")

    shell(new_device, "echo >/run/go")

    with BusClient(new_device) as client:
        client.ping()
        assert client.call("/loader", "lookupConfig", "config")


def test_signals_of_others_are_not_for_the_daemon(device, client):
    interfaces = ("local.System", "com.ozt.httpdata", PROPERTIES)
    for interface, name in itertools.product(interfaces, ("a", "PropertiesChanged")):
        signal = dbus.lowlevel.SignalMessage("/system", interface, name)
        signal.append("a", 1, {"b": True}, signature="sva{sv}")
        client.connection.send_message(signal)
    client.connection.flush()

    client.ping()
    assert device.daemon_status()["running"]
