#!/usr/bin/python3
"""Reads a fixture's fields: from the state file the fixture writes, or over the accessibility
bus (where a password field reads back masked).

    fields.py state FILE KEY              a field's text, "focus" or "window", from a state file
    fields.py wait PID FIELD… [--timeout S] until the application PID shows those fields
    fields.py text PID FIELD              a field's text as the accessibility bus reports it
    fields.py names PID                   every name and label text the application shows
    fields.py press PID NAME              presses the application's button of that name

Prints values without a newline, for the caller to compare; never prints them otherwise."""
import argparse
import json
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

import harness  # noqa: E402

MAX_DEPTH = 16


def application(pid):
    desktop = Atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(index)
        try:
            if app is not None and app.get_process_id() == pid:
                return app
        except GLib.Error:
            continue  # an application that went away meanwhile
    return None


def find(node, name, depth=0):
    if node is None or depth > MAX_DEPTH:
        return None
    if node.get_name() == name and "Text" in node.get_interfaces():
        return node
    for index in range(node.get_child_count()):
        found = find(node.get_child_at_index(index), name, depth + 1)
        if found is not None:
            return found
    return None


def field(pid, name):
    app = application(pid)
    return find(app, name) if app is not None else None


def names(node, depth=0):
    if node is None or depth > MAX_DEPTH:
        return
    yield node.get_name() or ""
    if "Text" in node.get_interfaces() and node.get_role() == Atspi.Role.LABEL:
        yield Atspi.Text.get_text(node, 0, -1)
    for index in range(node.get_child_count()):
        yield from names(node.get_child_at_index(index), depth + 1)


def button(node, name, depth=0):
    if node is None or depth > MAX_DEPTH:
        return None
    if node.get_name() == name and node.get_role() == Atspi.Role.PUSH_BUTTON:
        return node
    for index in range(node.get_child_count()):
        found = button(node.get_child_at_index(index), name, depth + 1)
        if found is not None:
            return found
    return None


def settle():
    """Lets libatspi take in the registry's news (applications and windows that came or went)."""
    context = GLib.MainContext.default()
    while context.pending():
        context.iteration(False)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    commands = parser.add_subparsers(dest="command", required=True)
    state = commands.add_parser("state")
    state.add_argument("file")
    state.add_argument("key")
    wait = commands.add_parser("wait")
    wait.add_argument("pid", type=int)
    wait.add_argument("fields", nargs="+")
    wait.add_argument("--timeout", type=float, default=15)
    text = commands.add_parser("text")
    text.add_argument("pid", type=int)
    text.add_argument("field")
    listing = commands.add_parser("names")
    listing.add_argument("pid", type=int)
    pressing = commands.add_parser("press")
    pressing.add_argument("pid", type=int)
    pressing.add_argument("name")
    arguments = parser.parse_args()

    if arguments.command == "state":
        try:
            with open(arguments.file, encoding="utf-8") as file:
                value = json.load(file)[arguments.key]
        except (OSError, ValueError, KeyError):
            return 1
        sys.stdout.write(str(value))
        return 0

    Atspi.init()
    if arguments.command == "wait":
        def present():
            settle()
            return all(field(arguments.pid, name) is not None for name in arguments.fields)
        harness.wait_for(present, f"process {arguments.pid}'s fields on the accessibility bus",
                         arguments.timeout)
        return 0

    if arguments.command == "names":
        settle()
        for name in names(application(arguments.pid)):
            if name:
                print(name)
        return 0

    if arguments.command == "press":
        settle()
        found = button(application(arguments.pid), arguments.name)
        if found is None:
            raise LookupError(f"process {arguments.pid} shows no button {arguments.name}")
        Atspi.Action.do_action(found, 0)
        return 0

    element = field(arguments.pid, arguments.field)
    if element is None:
        raise LookupError(f"process {arguments.pid} shows no field {arguments.field}")
    sys.stdout.write(Atspi.Text.get_text(element, 0, -1))
    return 0


if __name__ == "__main__":
    harness.run(main)
