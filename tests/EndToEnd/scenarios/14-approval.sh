# The approval: another finger is refused and the prompt lets the user try again; Cancel ends
# the invocation with no alert; a screen lock ends the reuse of an approval.
define_password mail 'mäil-' 'pässwörd'
add_entry Mail "$mail"
start_gtk_fixture gtk text
start_screensaver
start_kestrelle

fixture_focus gtk text
press_shortcut
touch_reader other
check "after another finger the prompt asks again" wait_kestrelle_shows "No match. Touch the reader again."
check "no picker yet" eval '! picker_shown'
touch_reader enrolled
wait_picker
press Escape
check "Escape closes the picker" wait_picker_gone

lock_screen
press_shortcut
check "after a screen lock the next press asks again" \
    wait_kestrelle_shows "Touch the fingerprint reader."
click_kestrelle_button Cancel
check "Cancel ends the prompt" \
    wait_for 10 "the prompt to go" eval '! kestrelle_shows "Touch the fingerprint reader."'
check "a cancelled approval shows no alert" eval '! kestrelle_shows "Password not delivered"'
check "nothing was typed" [ -z "$(fixture_value gtk text)" ]
