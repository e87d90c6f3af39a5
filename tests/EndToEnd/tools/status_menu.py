#!/usr/bin/python3
"""Reaches a status item's menu over D-Bus, as a panel does (com.canonical.dbusmenu).

    status_menu.py labels [--pid PID]        waits for the item, prints its menu's labels
    status_menu.py click LABEL [--pid PID]   waits for the item and the entry, clicks it

--pid picks the item of that process; without it there must be exactly one item."""
import argparse
import re

from gi.repository import Gio, GLib

import harness

WATCHER = "org.kde.StatusNotifierWatcher"
MENU = "com.canonical.dbusmenu"


def items(bus, pid):
    registered = harness.get_property(bus, WATCHER, "/StatusNotifierWatcher", WATCHER,
                                      "RegisteredStatusNotifierItems")
    found = []
    for item in registered:
        name, path = item.split("/", 1)
        try:
            if pid is None or harness.owner_pid(bus, name) == pid:
                found.append((name, "/" + path))
        except GLib.Error:
            continue  # its owner left meanwhile
    return found


def menu_entries(bus, name, path):
    """{label: id} of every entry of the item's menu, mnemonic marks removed."""
    menu = harness.get_property(bus, name, path, "org.kde.StatusNotifierItem", "Menu")
    _revision, layout = harness.call(bus, name, menu, MENU, "GetLayout",
                                     GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
    entries = {}

    def collect(node):
        identifier, properties, children = node
        if "label" in properties:
            entries[re.sub(r"_(.)", r"\1", properties["label"])] = identifier
        for child in children:
            collect(child)
    collect(layout)
    return menu, entries


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    options = argparse.ArgumentParser(add_help=False)
    options.add_argument("--pid", type=int)
    options.add_argument("--timeout", type=float, default=10)
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("labels", parents=[options])
    commands.add_parser("click", parents=[options]).add_argument("label")
    arguments = parser.parse_args()
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    owner = f"process {arguments.pid}" if arguments.pid else "any process"
    found = harness.wait_for(lambda: items(bus, arguments.pid), f"a status item of {owner}",
                             arguments.timeout)
    if len(found) > 1:
        raise LookupError(f"{len(found)} status items: say which with --pid")
    name, path = found[0]

    label = getattr(arguments, "label", None)

    def ready():
        try:
            menu, entries = menu_entries(bus, name, path)
        except GLib.Error:
            return None  # the item is still setting up its menu
        return (menu, entries) if (label in entries if label else entries) else None
    menu, entries = harness.wait_for(
        ready, f"the status menu entry {label!r}" if label else "a status menu", arguments.timeout)
    if label is None:
        print("\n".join(entries))
        return 0
    harness.call(bus, name, menu, MENU, "Event",
                 GLib.Variant("(isvu)", (entries[label], "clicked", GLib.Variant("i", 0), 0)))
    return 0


if __name__ == "__main__":
    harness.run(main)
