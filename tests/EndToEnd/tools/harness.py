"""What the end-to-end tools share: waiting for a condition with a deadline, D-Bus calls with
a timeout, and the run's password list. A Python scenario imports this module (the runner puts
this folder on PYTHONPATH) beside the tools themselves."""
import os
import sys
import time

from gi.repository import Gio, GLib

CALL_TIMEOUT_MS = 5000


def wait_for(condition, what, timeout=10.0, interval=0.05):
    """Polls condition() until it returns something true, and returns that; raises TimeoutError
    naming what it waited for once timeout seconds have passed."""
    deadline = time.monotonic() + timeout
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() >= deadline:
            raise TimeoutError(f"timed out after {timeout:g} s waiting for {what}")
        time.sleep(interval)


def call(bus, name, path, interface, method, arguments=None, reply_type=None):
    """One D-Bus method call; returns the reply's values as a tuple."""
    reply = bus.call_sync(name, path, interface, method, arguments,
                          GLib.VariantType(reply_type) if reply_type else None,
                          Gio.DBusCallFlags.NONE, CALL_TIMEOUT_MS, None)
    return reply.unpack() if reply else ()


def get_property(bus, name, path, interface, prop):
    return call(bus, name, path, "org.freedesktop.DBus.Properties", "Get",
                GLib.Variant("(ss)", (interface, prop)), "(v)")[0]


def owner_pid(bus, name):
    return call(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)), "(u)")[0]


def define_password(*pieces):
    """The pieces joined, listed for the run's check that no log holds a password."""
    value = "".join(pieces)
    if len(value) < 8 or "\n" in value:
        raise ValueError("a test password has one line of at least 8 characters")
    with open(os.environ["E2E_PASSWORDS"], "a", encoding="utf-8") as passwords:
        passwords.write(value + "\n")
    return value


def run(main):
    """Runs a tool's main(); a timeout or a D-Bus error ends it with its message, no trace."""
    try:
        sys.exit(main())
    except (TimeoutError, GLib.Error, LookupError) as error:
        print(f"{os.path.basename(sys.argv[0])}: {error}", file=sys.stderr)
        sys.exit(1)
