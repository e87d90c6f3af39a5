# From the status menu, with no text field focused: the picker offers copying only, so the
# choice goes to the clipboard. The menu lists its items, without an update check on Linux.
define_password wifi 'wífi-' 'kéy'
add_entry Wi-Fi "$wifi"
start_kestrelle

labels=$("$E2E_PYTHON" "$E2E_TOOLS/status_menu.py" labels --pid "$KESTRELLE_PID")
check "the status menu lists its items" \
    [ "$(echo $labels)" = "Show Password Picker Settings… Quit Kestrelle" ]
click_status_item "Show Password Picker" --pid "$KESTRELLE_PID"
touch_reader enrolled
wait_picker
press 1
check "the choice is copied" wait_for 5 "the clipboard" eval '[ "$(clipboard_text)" = "$wifi" ]'
click_status_item "Quit Kestrelle" --pid "$KESTRELLE_PID"
check "Quit ends the program" wait_for 10 "kestrelle to quit" eval '! is_running "$KESTRELLE_PID"'
