# Started in a Wayland session (on XWayland), the program says once that typing needs X11, and
# copying from its menu still works.
define_password copied 'wáy-' 'länd'
add_entry Copied "$copied"
WAYLAND_DISPLAY=wayland-e2e start_kestrelle
check "it says typing needs an X11 session" \
    wait_kestrelle_shows "Kestrelle needs an X11 session to type"
click_kestrelle_button OK
click_status_item "Show Password Picker" --pid "$KESTRELLE_PID"
touch_reader enrolled
wait_picker
press 1
check "copying from the menu works" wait_for 5 "the copy" eval '[ "$(clipboard_text)" = "$copied" ]'
