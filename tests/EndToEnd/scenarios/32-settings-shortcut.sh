# Recording a shortcut in Settings: the old one is let go and does nothing, the new one opens
# the picker; one another program holds is refused with a line saying so; Reset brings the
# default back.
define_password mail 'mäil-' 'pässwörd'
add_entry Mail "$mail"
start_gtk_fixture gtk text
start_process holder "$E2E_PYTHON" "$E2E_TOOLS/keys.py" --hold ctrl+shift+h
wait_for 5 "the other program to hold Ctrl+Shift+H" grep -q holding "$E2E_LOG_DIR/holder.log"
start_kestrelle
free() { press --free "$1"; }
check "kestrelle holds the default shortcut" eval '! free ctrl+alt+space'

open_settings
ui_do "page tab" General
ui_wait "push button" "Keyboard shortcut"
# Probing a combination grabs it for a moment, so a probe must not meet kestrelle's own grab:
# each waits until kestrelle has answered the change on screen.
record() { # COMBINATION: typed into the recorder, as a person does after clicking it
    ui_do "push button" "Keyboard shortcut"
    wait_kestrelle_shows "Press a key combination." 5
    press "$1"
    wait_for 5 "the recorder to take it" eval '! kestrelle_shows "Press a key combination."'
}
record ctrl+shift+k
check "the new shortcut is held" wait_for 5 "Ctrl+Shift+K to be grabbed" eval '! free ctrl+shift+k'
check "the old shortcut is let go" free ctrl+alt+space

fixture_focus gtk text
press_shortcut
check "the old shortcut shows no prompt" \
    eval '! wait_for 2 "a prompt" kestrelle_shows "Touch the fingerprint reader." 2>/dev/null'
press ctrl+shift+k
touch_reader enrolled
check "the new shortcut opens the picker" wait_picker
press Escape
wait_picker_gone

open_settings
ui_do "page tab" General
record ctrl+shift+h
check "a shortcut another program holds is refused, with a line saying so" \
    wait_kestrelle_shows "Ctrl+Shift+H is already in use"

ui_do "push button" Reset
wait_for 5 "the conflict line to go" eval '! kestrelle_shows "Ctrl+Shift+H is already in use"'
check "Reset takes the default back" wait_for 5 "Ctrl+Alt+Space to be grabbed" eval '! free ctrl+alt+space'
fixture_focus gtk text
press_shortcut
# The approval of the first press may still be reused: either the prompt or the picker answers.
check "the default answers again" wait_for 10 "the prompt or the picker" \
    eval 'picker_shown || kestrelle_shows "Touch the fingerprint reader."'
