#!/usr/bin/python3
"""Drives libfprint's virtual fingerprint reader (the socket in FP_VIRTUAL_DEVICE) and fprintd
on the run's system bus.

    reader.py enroll             enrols the finger "enrolled" (bring-up does this once)
    reader.py touch FINGER       waits until fprintd needs a finger, then touches the reader
    reader.py verify FINGER      claims the reader, verifies with a touch, prints fprintd's result

FINGER is "enrolled" or "other" (a finger that was never enrolled)."""
import argparse
import os
import socket

from gi.repository import Gio, GLib

import harness

SERVICE = "net.reactivated.Fprint"
DEVICE = "net.reactivated.Fprint.Device"
FINGERS = {"enrolled": "enrolled-finger", "other": "other-finger"}


def touch(finger):
    with socket.socket(socket.AF_UNIX) as reader:
        reader.connect(os.environ["FP_VIRTUAL_DEVICE"])
        reader.sendall(f"SCAN {FINGERS[finger]}".encode())


def default_device(bus):
    return harness.call(bus, SERVICE, "/net/reactivated/Fprint/Manager",
                        "net.reactivated.Fprint.Manager", "GetDefaultDevice", None, "(o)")[0]


def finger_needed(bus, device):
    return harness.get_property(bus, SERVICE, device, DEVICE, "finger-needed")


def claimed(bus, device, action, on_progress, timeout):
    """Claims the device, starts action ("Enroll" or "Verify") and runs until its status signal
    says done, calling on_progress() for every status short of that. Returns the last result."""
    loop = GLib.MainLoop()
    outcome = {}

    def status(_connection, _sender, _path, _interface, _signal, parameters):
        result, done = parameters.unpack()
        outcome["result"] = result
        if done:
            outcome["done"] = True
            loop.quit()
        else:
            on_progress()

    subscription = bus.signal_subscribe(SERVICE, DEVICE, f"{action}Status", device, None,
                                        Gio.DBusSignalFlags.NONE, status)
    harness.call(bus, SERVICE, device, DEVICE, "Claim", GLib.Variant("(s)", ("",)))
    try:
        argument = "right-index-finger" if action == "Enroll" else "any"
        harness.call(bus, SERVICE, device, DEVICE, f"{action}Start", GLib.Variant("(s)", (argument,)))
        on_progress()
        GLib.timeout_add(int(timeout * 1000), loop.quit)
        loop.run()
    finally:
        harness.call(bus, SERVICE, device, DEVICE, f"{action}Stop")
        harness.call(bus, SERVICE, device, DEVICE, "Release")
        bus.signal_unsubscribe(subscription)
    if "done" not in outcome:
        raise TimeoutError(f"fprintd did not finish within {timeout:g} s")
    return outcome["result"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    options = argparse.ArgumentParser(add_help=False)
    options.add_argument("--timeout", type=float, default=10)
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("enroll", parents=[options])
    for name in ("touch", "verify"):
        commands.add_parser(name, parents=[options]).add_argument("finger", choices=FINGERS)
    arguments = parser.parse_args()
    bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)
    device = default_device(bus)

    def touch_when_needed(finger):
        harness.wait_for(lambda: finger_needed(bus, device), "fprintd to need a finger",
                         arguments.timeout)
        touch(finger)

    if arguments.command == "touch":
        touch_when_needed(arguments.finger)
        return 0
    if arguments.command == "enroll":
        result = claimed(bus, device, "Enroll", lambda: touch_when_needed("enrolled"),
                         arguments.timeout)
        print(result)
        return 0 if result == "enroll-completed" else 1
    print(claimed(bus, device, "Verify", lambda: touch_when_needed(arguments.finger),
                  arguments.timeout))
    return 0


if __name__ == "__main__":
    harness.run(main)
