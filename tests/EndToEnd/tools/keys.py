#!/usr/bin/python3
"""Presses keys through XTest the way a person does: the modifiers one after the other, then the
key, released in the reverse order, with short gaps between the events.

    keys.py alt+space Return    taps each combination in turn
    keys.py --down alt+space    presses and holds one combination
    keys.py --up alt+space      releases it (in the reverse order)
    keys.py --type              types the text on standard input, character by character
    keys.py --move space        moves a key's symbols to a spare key code, as a remapped
                                keyboard would
    keys.py --restore           takes out of the keyboard map what --type and --move put in, and
                                releases what --down still holds
    keys.py --hold ctrl+alt+f   grabs one combination as another program would, until killed
    keys.py --free ctrl+alt+f   succeeds when no program holds that combination

A combination is key names joined by "+": X keysym names (space, Return, Escape, a, F5) and the
aliases alt, ctrl, shift and super for the left modifier keys.

--type binds a character the keyboard map lacks to a spare key code and leaves it bound until
--restore (the harness restores at the end of each scenario): a toolkit that reloads the map
when told of a change would otherwise read it back after it was restored and lose the key."""
import argparse
import json
import os
import sys
import time

from Xlib import X, XK, display
from Xlib.ext import xtest

ALIASES = {"alt": "Alt_L", "ctrl": "Control_L", "control": "Control_L", "shift": "Shift_L",
           "super": "Super_L", "enter": "Return", "esc": "Escape"}
SPECIAL = {"\n": XK.XK_Return, "\t": XK.XK_Tab}


class Keyboard:
    def __init__(self, gap):
        self.connection = display.Display()
        self.gap = gap
        self.first = self.connection.display.info.min_keycode
        count = self.connection.display.info.max_keycode - self.first + 1
        self.mapping = [list(row) for row in self.connection.get_keyboard_mapping(self.first, count)]
        self.additions = os.path.join(os.environ["E2E_DIR"], "keymap-additions")
        self.held = os.path.join(os.environ["E2E_DIR"], "keys-held")
        self.saved = os.path.join(os.environ["E2E_DIR"], "keymap-saved.json")

    def send(self, event_type, codes):
        for code in codes:
            xtest.fake_input(self.connection, event_type, code)
            self.connection.sync()
            time.sleep(self.gap)

    def tap(self, codes):
        self.send(X.KeyPress, codes)
        self.send(X.KeyRelease, list(reversed(codes)))

    def combination(self, text):
        codes = []
        for name in text.split("+"):
            keysym = XK.string_to_keysym(ALIASES.get(name.lower(), name))
            code = self.connection.keysym_to_keycode(keysym) if keysym else 0
            if not code:
                raise LookupError(f"no key named {name!r} in the keyboard map")
            codes.append(code)
        return codes

    def codes_for(self, character):
        """The key codes to press for a character (Shift first where the map needs it)."""
        point = ord(character)
        keysym = SPECIAL.get(character) or (point if 0x20 <= point <= 0x7E or 0xA0 <= point <= 0xFF
                                            else 0x01000000 | point)
        for index, row in enumerate(self.mapping):
            for level in (0, 1):
                if len(row) > level and row[level] == keysym:
                    code = self.first + index
                    return [self.combination("shift")[0], code] if level else [code]
        return [self.bind(keysym)]

    def bind(self, keysym):
        spare = self.spare()
        row = [keysym, keysym] + [X.NoSymbol] * (len(self.mapping[spare]) - 2)
        self.connection.change_keyboard_mapping(self.first + spare, [row])
        self.connection.sync()
        self.mapping[spare] = row
        with open(self.additions, "a", encoding="ascii") as additions:
            additions.write(f"{self.first + spare}\n")
        return self.first + spare

    def spare(self):
        spare = max((i for i, row in enumerate(self.mapping) if not any(row)), default=None)
        if spare is None:
            raise LookupError("no spare key code left to bind a character to")
        return spare

    def move(self, name):
        """Moves the symbols of the key named to a spare key code; --restore moves them back."""
        old = self.combination(name)[0] - self.first
        new = self.spare()
        saved = {}
        if os.path.exists(self.saved):
            with open(self.saved, encoding="ascii") as file:
                saved = json.load(file)
        for index in (old, new):
            saved.setdefault(str(self.first + index), self.mapping[index])
        with open(self.saved, "w", encoding="ascii") as file:
            json.dump(saved, file)
        self.mapping[new], self.mapping[old] = self.mapping[old], [X.NoSymbol] * len(self.mapping[old])
        for index in (old, new):
            self.connection.change_keyboard_mapping(self.first + index, [self.mapping[index]])
        self.connection.sync()

    def note_held(self, codes, down):
        """Notes which keys --down holds, so that --restore can release them."""
        held = read_codes(self.held) - set(codes)
        if down:
            held |= set(codes)
        with open(self.held, "w", encoding="ascii") as file:
            file.writelines(f"{code}\n" for code in sorted(held))

    def grab(self, text):
        """Grabs the combination with every lock variant; False when another client holds it."""
        codes = self.combination(text)
        masks = {"Shift_L": X.ShiftMask, "Control_L": X.ControlMask, "Alt_L": X.Mod1Mask,
                 "Super_L": X.Mod4Mask}
        modifiers = 0
        for name in text.split("+")[:-1]:
            modifiers |= masks[ALIASES.get(name.lower(), name)]
        refused = []
        root = self.connection.screen().root
        for locks in (0, X.LockMask, X.Mod2Mask, X.LockMask | X.Mod2Mask):
            root.grab_key(codes[-1], modifiers | locks, True, X.GrabModeAsync, X.GrabModeAsync,
                          onerror=lambda *error: refused.append(error) or True)
        self.connection.sync()
        return not refused

    def restore(self):
        # A scenario that failed while holding a key must not leave it down for the next one.
        self.send(X.KeyRelease, sorted(read_codes(self.held)))
        if os.path.exists(self.held):
            os.remove(self.held)
        if os.path.exists(self.saved):
            with open(self.saved, encoding="ascii") as file:
                for code, row in json.load(file).items():
                    self.connection.change_keyboard_mapping(int(code), [row])
            self.connection.sync()
            os.remove(self.saved)
        if not os.path.exists(self.additions):
            return
        width = len(self.mapping[0])
        for code in read_codes(self.additions):
            self.connection.change_keyboard_mapping(code, [[X.NoSymbol] * width])
        self.connection.sync()
        os.remove(self.additions)


def read_codes(path):
    try:
        with open(path, encoding="ascii") as file:
            return {int(line) for line in file if line.strip()}
    except FileNotFoundError:
        return set()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    mode = parser.add_mutually_exclusive_group()
    for option in ("--down", "--up", "--type", "--move", "--restore", "--hold", "--free"):
        mode.add_argument(option, action="store_true")
    parser.add_argument("--gap-ms", type=float, default=10, help="between two key events")
    parser.add_argument("combinations", nargs="*")
    arguments = parser.parse_args()
    keyboard = Keyboard(arguments.gap_ms / 1000)
    try:
        if arguments.restore:
            keyboard.restore()
        elif arguments.move:
            for name in arguments.combinations:
                keyboard.move(name)
        elif arguments.hold or arguments.free:
            (combination,) = arguments.combinations
            if not keyboard.grab(combination):
                return 1  # held by another program
            if arguments.hold:
                print("holding", flush=True)
                time.sleep(3600)
        elif arguments.type:
            sys.stdin.reconfigure(encoding="utf-8")
            for character in sys.stdin.read():
                keyboard.tap(keyboard.codes_for(character))
        else:
            combinations = [keyboard.combination(c) for c in arguments.combinations]
            for codes in combinations:
                if arguments.down or arguments.up:
                    keyboard.note_held(codes, arguments.down)
                if not arguments.up:
                    keyboard.send(X.KeyPress, codes)
                if not arguments.down:
                    keyboard.send(X.KeyRelease, list(reversed(codes)))
    except LookupError as error:
        print(f"keys.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
