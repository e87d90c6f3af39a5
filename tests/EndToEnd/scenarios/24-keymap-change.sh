# The keyboard map changes while the program runs (another layout, a remapping tool) and Space
# moves to another key code: the shortcut follows it, and the key code it left is free again.
define_password mapped 'mäpped-' 'kéys'
add_entry Mapped "$mapped"
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press Escape
wait_picker_gone

keycode_of_space() {
    "$E2E_PYTHON" -c 'from Xlib import XK, display; print(display.Display().keysym_to_keycode(XK.XK_space))'
}
free_with_ctrl_alt() { # KEYCODE: another client may grab it with Ctrl+Alt
    "$E2E_PYTHON" - "$1" <<'PY'
import sys
from Xlib import X, display
d = display.Display()
refused = []
d.screen().root.grab_key(int(sys.argv[1]), X.ControlMask | X.Mod1Mask, True, X.GrabModeAsync,
                         X.GrabModeAsync, onerror=lambda *error: refused.append(error))
d.sync()
sys.exit(1 if refused else 0)
PY
}
old_space=$(keycode_of_space)
"$E2E_PYTHON" "$E2E_TOOLS/keys.py" --move space
check "Space is on another key code now" [ "$(keycode_of_space)" != "$old_space" ]
press_shortcut
check "the shortcut on the new key code opens the picker" wait_picker
press 1
check "and the choice is typed" wait_field gtk text "$mapped"
check "the key code Space left is no longer grabbed" free_with_ctrl_alt "$old_space"
