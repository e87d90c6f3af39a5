#!/usr/bin/python3
"""Times kestrelle's invocation road from outside, on the monotonic clock all processes share,
and prints a table of medians. A benchmark: it reports and asserts nothing.

    measure.py --state FILE --log FILE [--runs N]    (the entry's password on standard input)

Expects kestrelle running with that password as the picker's first entry, and the GTK
fixture whose state file is FILE with its empty "text" field focused. Measures:
  - the shortcut's XTest release to the picker's window mapped and exposed;
  - the XTest press of "1" in the picker to the whole password in the field, and, in the same
    run, `xdotool type` (its default delay) typing the same text into the emptied field;
  - the capture of the focused field at the release, from the line kestrelle logs (FILE of --log).
One approval is reused; when it would run out, the next run waits for it to expire and
approves again, unmeasured. Never prints the password or a field's text."""
import argparse
import json
import os
import re
import select
import statistics
import subprocess
import sys
import time

from Xlib import X, XK, display
from Xlib.ext import xtest

import harness

PICKER = "Kestrelle password picker"
REUSE_WINDOW = 30.0  # seconds an approval opens the picker without a prompt
REUSE_MARGIN = 3.0  # no run starts closer than this to the approval's end
KEY_GAP = 0.01  # between the events of a chord, as a person's keys come
POLL = 0.0005  # between two looks at the state file
TIMEOUT = 10.0


def now():
    return time.monotonic_ns() / 1e6  # milliseconds


class Desktop:
    """One X connection: XTest keys out, the picker's and the field window's events in."""

    def __init__(self, state):
        self.state = state
        self.connection = display.Display()
        self.pickers = [int(line) for line in subprocess.run(
            ["xdotool", "search", "--name", f"^{PICKER}$"], check=True, capture_output=True,
            text=True).stdout.split()]
        for window in self.pickers:
            self.connection.create_resource_object("window", window).change_attributes(
                event_mask=X.StructureNotifyMask | X.ExposureMask)
        # The picker's keyboard grab shows as the focused window losing the focus to a grab.
        self.origin = int(self.field("window"))
        self.connection.create_resource_object("window", self.origin).change_attributes(
            event_mask=X.FocusChangeMask)
        self.connection.sync()
        self.shown = self.grabbed = False
        self.exposed_at = None

    def code(self, name):
        code = self.connection.keysym_to_keycode(XK.string_to_keysym(name))
        if not code:
            raise LookupError(f"no key {name} in the keyboard map")
        return code

    def key(self, name, pressed, gap=KEY_GAP):
        xtest.fake_input(self.connection, X.KeyPress if pressed else X.KeyRelease, self.code(name))
        self.connection.sync()
        time.sleep(gap)

    def chord(self, *names):
        for name in names:
            self.key(name, True)
        for name in reversed(names):
            self.key(name, False)

    def take_events(self, timeout):
        """Reads what has come, waiting up to timeout seconds for something to."""
        if not self.connection.pending_events():
            select.select([self.connection.fileno()], [], [], timeout)
        while self.connection.pending_events():
            event = self.connection.next_event()
            at = now()
            if event.type == X.MapNotify and event.window.id in self.pickers:
                self.shown = True
            elif event.type == X.UnmapNotify and event.window.id in self.pickers:
                self.shown = self.grabbed = False
            elif event.type == X.Expose and event.window.id in self.pickers:
                self.exposed_at = self.exposed_at or at
            elif event.type == X.FocusOut and event.mode == X.NotifyGrab:
                self.grabbed = True
            elif event.type == X.FocusIn and event.mode == X.NotifyUngrab:
                self.grabbed = False

    def wait(self, condition, what, timeout=TIMEOUT):
        deadline = time.monotonic() + timeout
        while not condition():
            remaining = deadline - time.monotonic()
            if remaining <= 0:
                raise TimeoutError(f"timed out after {timeout:g} s waiting for {what}")
            self.take_events(min(remaining, 0.05))

    def field(self, key):
        with open(self.state, encoding="utf-8") as file:
            return json.load(file)[key]

    def wait_field(self, text, timeout=TIMEOUT, give_up=lambda: False):
        """When the text field first held text (ms), looking at the state file whenever it was
        replaced; None once give_up() is true or the timeout has passed."""
        deadline = time.monotonic() + timeout
        seen = None
        while time.monotonic() < deadline and not give_up():
            at = now()
            try:
                stat = os.stat(self.state)
                version = (stat.st_ino, stat.st_mtime_ns)
                if version != seen:
                    seen = version
                    if self.field("text") == text:
                        return at
            except (OSError, ValueError):
                pass  # between the fixture's write and its rename
            time.sleep(POLL)
        return None

    def picker_up(self):
        return self.shown and self.exposed_at is not None and self.grabbed

    def press_shortcut(self):
        """Presses the shortcut and releases it; the release's time (ms)."""
        self.take_events(0)
        self.exposed_at = None
        for name in ("Control_L", "Alt_L", "space"):
            self.key(name, True)
        released = now()
        xtest.fake_input(self.connection, X.KeyRelease, self.code("space"))
        self.connection.flush()
        for name in ("Alt_L", "Control_L"):
            xtest.fake_input(self.connection, X.KeyRelease, self.code(name))
        self.connection.flush()
        return released

    def close_picker(self):
        self.wait(self.picker_up, "the picker")
        self.chord("Escape")
        self.wait(lambda: not self.shown and not self.grabbed, "the picker to close")
        self.focus_back()

    def focus_back(self):
        deadline = time.monotonic() + TIMEOUT
        while self.field("focus") != "text":
            if time.monotonic() > deadline:
                raise TimeoutError("timed out waiting for the text field to have the focus again")
            time.sleep(0.002)
        time.sleep(0.05)  # the toolkit may still be taking in the grab's end

    def clear_field(self):
        self.chord("Control_L", "a")
        self.chord("BackSpace")
        if self.wait_field("") is None:
            raise TimeoutError("timed out waiting for the text field to be emptied")


class Bench:
    def __init__(self, desktop, password, log):
        self.desktop = desktop
        self.password = password
        self.log = log
        self.captures = []  # (ms, whether it found the field) of each measured invocation
        self.approved_at = self.shown_at = None
        self.approvals = 0

    def ensure_approval(self):
        """Approves, unless the last approval has a run's worth of reuse left."""
        if self.approved_at is not None:
            if time.monotonic() < self.approved_at + REUSE_WINDOW - REUSE_MARGIN:
                return
            time.sleep(max(0.0, self.shown_at + REUSE_WINDOW + 1 - time.monotonic()))
        self.desktop.press_shortcut()
        touched = time.monotonic()
        subprocess.run([sys.executable, os.path.join(os.environ["E2E_TOOLS"], "reader.py"),
                        "touch", "enrolled"], check=True, timeout=TIMEOUT)
        self.desktop.wait(self.desktop.picker_up, "the picker after the approval")
        self.approved_at, self.shown_at = touched, time.monotonic()
        self.approvals += 1
        self.desktop.close_picker()

    def logged_capture(self, offset):
        """The capture kestrelle logged after offset: its time (ms), whether it found the field."""
        with open(self.log, encoding="utf-8", errors="replace") as file:
            file.seek(offset)
            text = file.read()
        took = re.search(r"Invocation (\S+) capture took (\d+) us", text)
        if took is None:
            raise LookupError("kestrelle logged no capture for the invocation")
        found = f"Invocation {took[1]} authenticating; target: true" in text
        self.captures.append((int(took[2]) / 1000, found))
        return found

    def picker(self):
        """The shortcut's release to the picker mapped and exposed (ms), and whether the capture
        at the release found the field."""
        self.ensure_approval()
        offset = os.path.getsize(self.log)
        released = self.desktop.press_shortcut()
        self.desktop.wait(lambda: self.desktop.shown and self.desktop.exposed_at is not None,
                          "the picker")
        shown = self.desktop.exposed_at - released
        self.desktop.close_picker()
        return shown, self.logged_capture(offset)

    def typing(self):
        """The press of "1" to the password in the field, then xdotool's typing of it (ms)."""
        desktop = self.desktop
        self.ensure_approval()
        offset = os.path.getsize(self.log)
        desktop.press_shortcut()
        desktop.wait(desktop.picker_up, "the picker")
        self.logged_capture(offset)
        chosen = now()
        xtest.fake_input(desktop.connection, X.KeyPress, desktop.code("1"))
        xtest.fake_input(desktop.connection, X.KeyRelease, desktop.code("1"))
        desktop.connection.flush()
        typed = desktop.wait_field(self.password)
        if typed is None:
            raise TimeoutError("kestrelle did not type the whole password into the field")
        desktop.take_events(0)
        desktop.focus_back()
        desktop.clear_field()

        started = now()
        with subprocess.Popen(["xdotool", "type", "--file", "/dev/stdin"],
                              stdin=subprocess.PIPE) as xdotool:
            xdotool.stdin.write(self.password.encode())
            xdotool.stdin.close()
            # A character xdotool got wrong leaves the field short of the password for good.
            exited = []

            def settled():
                if xdotool.poll() is not None and not exited:
                    exited.append(time.monotonic())
                return bool(exited) and time.monotonic() > exited[0] + 1

            done = desktop.wait_field(self.password, give_up=settled)
        desktop.clear_field()
        return typed - chosen, None if done is None else done - started


def row(what, samples, decimals=1):
    values = [f"{value:.{decimals}f}" for value in
              (statistics.median(samples), min(samples), max(samples))] if samples else ["-"] * 3
    return f"{what:<46} {values[0]:>8} {values[1]:>8} {values[2]:>8} {len(samples):>5}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--state", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--runs", type=int, default=21)
    arguments = parser.parse_args()
    sys.stdin.reconfigure(encoding="utf-8")
    password = sys.stdin.read()

    started = time.monotonic()
    bench = Bench(Desktop(arguments.state), password, arguments.log)
    bench.ensure_approval()  # also the picker's first, colder, showing: not measured
    pickers = [bench.picker() for _ in range(arguments.runs)]
    kestrelle, xdotool = zip(*(bench.typing() for _ in range(arguments.runs)))
    exact = [value for value in xdotool if value is not None]
    found = sum(found for _, found in bench.captures)

    print(f"\n{'what (ms)':<46} {'median':>8} {'min':>8} {'max':>8} {'runs':>5}")
    print(row("shortcut release -> picker mapped and exposed", [ms for ms, _ in pickers]))
    print(row("  when the capture at release found the field", [ms for ms, hit in pickers if hit]))
    print(row("  when it found none (the core looked again)",
              [ms for ms, hit in pickers if not hit]))
    print(row(f"choice -> all {len(password)} code points in a GTK entry", kestrelle))
    print(row("xdotool type (default 12 ms delay), same text", exact))
    print(row("capture of the focused field at release", [ms for ms, _ in bench.captures],
              decimals=2))
    if exact:
        ratio = statistics.median(exact) / statistics.median(kestrelle)
        print(f"xdotool type / kestrelle, medians: {ratio:.1f}")
    if len(exact) < len(xdotool):
        print(f"xdotool typed the text exactly in {len(exact)} of {len(xdotool)} runs "
              "(its row counts only those)")
    print(f"captures at release that found the field: {found} of {len(bench.captures)}; approvals: "
          f"{bench.approvals}; measuring took {time.monotonic() - started:.0f} s")
    return 0


if __name__ == "__main__":
    harness.run(main)
