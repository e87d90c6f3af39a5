# Another program holds Ctrl+Alt+Space: Settings says the shortcut is in use, and the status
# menu still opens the picker.
start_process holder "$E2E_PYTHON" -c '
import sys, time
from Xlib import X, XK, display
d = display.Display()
key = d.keysym_to_keycode(XK.string_to_keysym("space"))
for locks in (0, X.LockMask, X.Mod2Mask, X.LockMask | X.Mod2Mask):
    d.screen().root.grab_key(key, X.ControlMask | X.Mod1Mask | locks, True, X.GrabModeAsync, X.GrabModeAsync)
d.sync()
print("holding", flush=True)
time.sleep(600)'
wait_for 5 "the other program to hold the shortcut" grep -q holding "$E2E_LOG_DIR/holder.log"
start_kestrelle
click_status_item "Settings…" --pid "$KESTRELLE_PID"
check "Settings says the shortcut is in use" \
    wait_kestrelle_shows "Ctrl+Alt+Space is already in use. Choose another shortcut."
