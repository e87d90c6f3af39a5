#!/usr/bin/python3
"""Drives an application's windows over the accessibility bus, as a screen reader does, and
photographs windows of the X display.

    ui.py tree PID                         every object: depth, role and name (never a text)
    ui.py wait PID ROLE NAME [--gone]      until a showing control of that role and name is there
    ui.py do PID ROLE NAME [--action A]    does the control's action (its first by default)
      (--index N picks the Nth match in the tree's order, --enabled skips disabled ones)
    ui.py focus PID ROLE NAME              gives the control the keyboard focus
    ui.py is PID ROLE NAME STATE           succeeds when the control has the state (checked…)
    ui.py list PID ROLE                    the names of the showing objects of that role, in order
    ui.py focused PID                      prints the focused object's role and name
    ui.py unnamed PID [--window NAME]      lists the controls without a name or a role
    ui.py reach PID --window NAME          presses Tab round the window; lists the actionable
                                           controls the focus never reached
    ui.py shot FILE --name WINDOW-NAME     writes the X window of that name as a PNG
    ui.py shrink FILE…                     rewrites PNGs with a palette of their 256 most used
                                           colours, each other colour drawn as its nearest
    ui.py lightness FILE                   a PNG's mean lightness, 0 (black) to 255 (white)

ROLE is an AT-SPI role's nick (push button, check box, text, page tab, …). --window limits a
search to the window of that name. Text contents are never printed."""
import argparse
import os
import struct
import sys
import warnings
import zlib

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

import fields  # noqa: E402
import harness  # noqa: E402

MAX_DEPTH = 24
# Roles of objects a user acts on or reads; containers and decoration are not checked for names.
CONTROLS = {
    Atspi.Role.PUSH_BUTTON, Atspi.Role.TOGGLE_BUTTON, Atspi.Role.CHECK_BOX,
    Atspi.Role.RADIO_BUTTON, Atspi.Role.COMBO_BOX, Atspi.Role.TEXT, Atspi.Role.PASSWORD_TEXT,
    Atspi.Role.ENTRY, Atspi.Role.PAGE_TAB, Atspi.Role.LIST_ITEM, Atspi.Role.MENU_ITEM,
    Atspi.Role.SLIDER, Atspi.Role.SPIN_BUTTON, Atspi.Role.LINK, Atspi.Role.DIALOG,
    Atspi.Role.FRAME, Atspi.Role.WINDOW, Atspi.Role.ALERT, Atspi.Role.LIST,
}


def settle():
    """Lets libatspi take in the registry's news (applications and windows that came or went)."""
    context = GLib.MainContext.default()
    while context.pending():
        context.iteration(False)


def application(pid):
    settle()
    return fields.application(pid)


def walk(node, depth=0):
    """(depth, node) for node and everything under it, depth first."""
    if node is None or depth > MAX_DEPTH:
        return
    yield depth, node
    try:
        count = node.get_child_count()
    except GLib.Error:
        return
    for index in range(count):
        try:
            child = node.get_child_at_index(index)
        except GLib.Error:
            continue
        yield from walk(child, depth + 1)


def role_nick(node):
    return node.get_role_name() or ""


def showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def windows(pid, name=None):
    app = application(pid)
    if app is None:
        return []
    found = [app.get_child_at_index(i) for i in range(app.get_child_count())]
    return [w for w in found if w is not None and (name is None or w.get_name() == name)]


def controls(pid, role, name, window=None):
    """The showing objects of that role and name, in the tree's order."""
    found = []
    for top in windows(pid, window):
        for _depth, node in walk(top):
            try:
                if node.get_name() == name and role_nick(node) == role and showing(node):
                    found.append(node)
            except GLib.Error:
                continue
    return found


def control(arguments):
    found = controls(arguments.pid, arguments.role, arguments.name, arguments.window)
    if arguments.enabled:  # a dialog's disabled button may share the name
        found = [n for n in found if n.get_state_set().contains(Atspi.StateType.ENABLED)]
    if not found:
        raise LookupError(f"process {arguments.pid} shows no {arguments.role} {arguments.name!r}")
    return found[arguments.index]


def do_action(node, wanted):
    count = Atspi.Action.get_n_actions(node)
    if not count:
        raise LookupError(f"{role_nick(node)} {node.get_name()!r} has no action")
    index = 0
    if wanted:
        with warnings.catch_warnings():  # the replacement is missing from older libatspi
            warnings.simplefilter("ignore", DeprecationWarning)
            names = [Atspi.Action.get_action_name(node, i) for i in range(count)]
        index = names.index(wanted)
    Atspi.Action.do_action(node, index)


def focused(pid):
    """The deepest focused object of the application's active window."""
    for top in windows(pid):
        if not top.get_state_set().contains(Atspi.StateType.ACTIVE):
            continue
        found = None
        for _depth, node in walk(top):
            try:
                if node.get_state_set().contains(Atspi.StateType.FOCUSED):
                    found = node
            except GLib.Error:
                continue
        return found
    return None


# Controls a keyboard user must be able to reach with Tab.
ACTIONABLE = {Atspi.Role.PUSH_BUTTON, Atspi.Role.TOGGLE_BUTTON, Atspi.Role.CHECK_BOX,
              Atspi.Role.RADIO_BUTTON, Atspi.Role.COMBO_BOX, Atspi.Role.TEXT,
              Atspi.Role.PASSWORD_TEXT, Atspi.Role.PAGE_TAB_LIST, Atspi.Role.SPIN_BUTTON}


def place(node):
    """Where a node sits: its indices from the application down, which stay while it lives."""
    indices = []
    while node is not None and node.get_role() != Atspi.Role.APPLICATION:
        indices.append(node.get_index_in_parent())
        node = node.get_parent()
    return tuple(reversed(indices))


def reach(pid, window, most):
    """Tabs round the window, following focus events as a screen reader does; returns the
    actionable controls the focus never came to."""
    from keys import Keyboard  # the same XTest presses as the scenarios'
    wanted = {}
    for top in windows(pid, window):
        for _depth, node in walk(top):
            states = node.get_state_set()
            if (node.get_role() in ACTIONABLE and states.contains(Atspi.StateType.SHOWING)
                    and states.contains(Atspi.StateType.ENABLED)):
                wanted[place(node)] = f"{role_nick(node)} {node.get_name()!r}"
    focused_places = []

    def on_focus(event):
        if event.detail1:
            try:
                focused_places.append(place(event.source))
            except GLib.Error:
                pass
    listener = Atspi.EventListener.new(on_focus)
    listener.register("object:state-changed:focused")
    keyboard = Keyboard(0.01)
    tab = keyboard.combination("Tab")
    context = GLib.MainContext.default()
    def moved(count):
        context.iteration(False)
        return len(focused_places) > count

    reached = []
    for _ in range(most):
        count = len(focused_places)
        keyboard.tap(tab)
        harness.wait_for(lambda: moved(count), "the focus to move on Tab", 5, 0.01)
        now = focused_places[-1]
        # A page tab list takes the focus through its current tab.
        now = now if now in wanted else now[:-1]
        if reached and now == reached[0]:
            break  # round once
        reached.append(now)
    listener.deregister("object:state-changed:focused")
    return [name for key, name in wanted.items() if key not in reached]


# ── Pictures ────────────────────────────────────────────────────────────────────────────────────

def png_chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def write_png(path, width, height, rows):
    """rows: bytes of RGB triples per row. A palette image when 256 colours or fewer are used."""
    colours = {}
    for row in rows:
        for offset in range(0, len(row), 3):
            colours.setdefault(row[offset:offset + 3], len(colours))
            if len(colours) > 256:
                break
        if len(colours) > 256:
            break
    if len(colours) <= 256:
        header = struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0)
        palette = b"".join(colours)
        raw = b"".join(b"\0" + bytes(colours[row[i:i + 3]] for i in range(0, len(row), 3))
                       for row in rows)
        chunks = [png_chunk(b"IHDR", header), png_chunk(b"PLTE", palette)]
    else:
        header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
        raw = b"".join(b"\0" + row for row in rows)
        chunks = [png_chunk(b"IHDR", header)]
    chunks.append(png_chunk(b"IDAT", zlib.compress(raw, 9)))
    chunks.append(png_chunk(b"IEND", b""))
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + b"".join(chunks))


def read_png_rows(path):
    """The RGB rows of a PNG this tool wrote."""
    with open(path, "rb") as file:
        data = file.read()[8:]
    chunks, offset = {}, 0
    while offset < len(data):
        (length,) = struct.unpack(">I", data[offset:offset + 4])
        kind = data[offset + 4:offset + 8]
        chunks[kind] = chunks.get(kind, b"") + data[offset + 8:offset + 8 + length]
        offset += 12 + length
    width, height, _depth, colour = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    raw = zlib.decompress(chunks[b"IDAT"])
    stride = width * (3 if colour == 2 else 1)
    rows = []
    for y in range(height):
        row = raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)]
        if colour == 3:
            palette = chunks[b"PLTE"]
            row = b"".join(palette[3 * i:3 * i + 3] for i in row)
        rows.append(row)
    return width, height, rows


def quantized(rows):
    """The rows with every colour outside the 256 most used replaced by its nearest among them:
    a user interface's pictures are mostly a few flat colours, with the rest at text edges."""
    counts = {}
    for row in rows:
        for offset in range(0, len(row), 3):
            colour = row[offset:offset + 3]
            counts[colour] = counts.get(colour, 0) + 1
    kept = sorted(counts, key=counts.get, reverse=True)[:256]
    nearest = {colour: colour for colour in kept}

    def closest(colour):
        if colour not in nearest:
            nearest[colour] = min(kept, key=lambda k: sum((a - b) ** 2 for a, b in zip(k, colour)))
        return nearest[colour]
    return [b"".join(closest(row[i:i + 3]) for i in range(0, len(row), 3)) for row in rows]


def shoot(path, window_name):
    from Xlib import X, display  # only this command needs the X bindings
    connection = display.Display()

    def find(window):
        try:
            if window.get_wm_name() == window_name:
                attributes = window.get_attributes()
                if attributes.map_state == X.IsViewable:
                    return window
            children = window.query_tree().children
        except Exception:  # a window that went away meanwhile
            return None
        for child in children:
            found = find(child)
            if found is not None:
                return found
        return None

    window = harness.wait_for(lambda: find(connection.screen().root),
                              f"a window named {window_name!r}")
    geometry = window.get_geometry()
    image = window.get_image(0, 0, geometry.width, geometry.height, X.ZPixmap, 0xFFFFFFFF)
    stride = len(image.data) // geometry.height
    rows = []
    for y in range(geometry.height):
        line = image.data[y * stride:y * stride + geometry.width * 4]
        rows.append(bytes(b for i in range(0, len(line), 4)
                          for b in (line[i + 2], line[i + 1], line[i])))
    write_png(path, geometry.width, geometry.height, rows)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    commands = parser.add_subparsers(dest="command", required=True)
    with_pid = argparse.ArgumentParser(add_help=False)
    with_pid.add_argument("pid", type=int)
    with_pid.add_argument("--window")
    with_control = argparse.ArgumentParser(add_help=False, parents=[with_pid])
    with_control.add_argument("role")
    with_control.add_argument("name")
    with_control.add_argument("--index", type=int, default=0)
    with_control.add_argument("--enabled", action="store_true", help="only enabled ones count")
    commands.add_parser("tree", parents=[with_pid])
    wait = commands.add_parser("wait", parents=[with_control])
    wait.add_argument("--gone", action="store_true")
    wait.add_argument("--timeout", type=float, default=10)
    commands.add_parser("do", parents=[with_control]).add_argument("--action")
    commands.add_parser("focus", parents=[with_control])
    commands.add_parser("is", parents=[with_control]).add_argument("state")
    commands.add_parser("list", parents=[with_pid]).add_argument("role")
    commands.add_parser("focused", parents=[with_pid])
    commands.add_parser("unnamed", parents=[with_pid])
    commands.add_parser("reach", parents=[with_pid]).add_argument("--most", type=int, default=60)
    shot = commands.add_parser("shot")
    shot.add_argument("file")
    shot.add_argument("--name", required=True)
    commands.add_parser("shrink").add_argument("files", nargs="+")
    commands.add_parser("lightness").add_argument("file")
    arguments = parser.parse_args()

    if arguments.command == "shot":
        shoot(arguments.file, arguments.name)
        return 0
    if arguments.command == "shrink":
        for path in arguments.files:
            width, height, rows = read_png_rows(path)
            write_png(path, width, height, quantized(rows))
        return 0

    if arguments.command == "lightness":
        width, height, rows = read_png_rows(arguments.file)
        print(round(sum(sum(row) for row in rows) / (width * height * 3)))
        return 0

    Atspi.init()
    if arguments.command == "tree":
        for top in windows(arguments.pid, arguments.window):
            for depth, node in walk(top):
                states = [s.value_nick for s in node.get_state_set().get_states()
                          if s in (Atspi.StateType.FOCUSED, Atspi.StateType.CHECKED,
                                   Atspi.StateType.SHOWING, Atspi.StateType.ENABLED)]
                print(f"{'  ' * depth}{role_nick(node)} {node.get_name()!r} {' '.join(states)}")
        return 0
    if arguments.command == "wait":
        def settled():
            present = bool(controls(arguments.pid, arguments.role, arguments.name,
                                    arguments.window))
            return present != arguments.gone
        what = f"{arguments.role} {arguments.name!r} to {'go' if arguments.gone else 'show'}"
        harness.wait_for(settled, what, arguments.timeout)
        return 0
    if arguments.command == "do":
        do_action(control(arguments), arguments.action)
        return 0
    if arguments.command == "focus":
        if not Atspi.Component.grab_focus(control(arguments)):
            raise LookupError(f"{arguments.role} {arguments.name!r} did not take the focus")
        return 0
    if arguments.command == "is":
        state = Atspi.StateType(getattr(Atspi.StateType, arguments.state.upper()))
        return 0 if control(arguments).get_state_set().contains(state) else 1
    if arguments.command == "list":
        for top in windows(arguments.pid, arguments.window):
            for _depth, node in walk(top):
                if role_nick(node) == arguments.role and showing(node):
                    print(node.get_name())
        return 0
    if arguments.command == "focused":
        node = focused(arguments.pid)
        if node is None:
            return 1
        print(f"{role_nick(node)}: {node.get_name()}")
        return 0
    if arguments.command == "reach":
        missed = reach(arguments.pid, arguments.window, arguments.most)
        for name in missed:
            print(f"not reached by Tab: {name}")
        return 1 if missed else 0
    # unnamed
    tops = windows(arguments.pid, arguments.window)
    if arguments.window and not tops:
        print(f"no window named {arguments.window!r}")
        return 1
    missing = 0
    for top in tops:
        if showing(top) and not (top.get_name() or "").strip():
            print(f"no name: the window {role_nick(top)}")
            missing += 1
        for _depth, node in walk(top):
            if not showing(node):
                continue
            role = node.get_role()
            if role == Atspi.Role.INVALID or role == Atspi.Role.UNKNOWN:
                print(f"no role: {node.get_name()!r} under {node.get_parent().get_name()!r}")
                missing += 1
            elif role in CONTROLS and not (node.get_name() or "").strip():
                parent = node.get_parent()
                print(f"no name: {role_nick(node)} under {role_nick(parent)} "
                      f"{parent.get_name()!r}")
                missing += 1
    return 1 if missing else 0


if __name__ == "__main__":
    harness.run(main)
