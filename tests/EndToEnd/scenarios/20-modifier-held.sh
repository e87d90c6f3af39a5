# A modifier key held around the picker's choice. The picker takes no choice from Return with
# Shift held. A modifier pressed just after the choice holds the typing back: released soon, the
# password is typed as it is; held on, nothing is typed and an alert asks to release it. Keys
# typed with Shift or Ctrl held would land as capitals or as shortcuts (Ctrl+A selects all).
define_password plain 'lower-' 'case-' 'ünï'
add_entry Plain "$plain"
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press --down shift
press Return
sleep 0.3
check "Return with Shift held chooses nothing: the picker stays" picker_shown
check "nothing is typed" [ -z "$(fixture_value gtk text)" ]
press --up shift

# The choice is made at Return's press; Ctrl goes down before Return comes up.
press --down Return ctrl
press --up Return
check "with Ctrl held on, an alert asks to release the modifiers" \
    wait_kestrelle_shows "Release the shortcut modifier keys, then invoke Kestrelle again."
check "nothing was typed while Ctrl was held" [ -z "$(fixture_value gtk text)" ]
press --up ctrl
sleep 0.5
check "nothing is typed after Ctrl's release either" [ -z "$(fixture_value gtk text)" ]
click_kestrelle_button OK

fixture_focus gtk text # the alert had it
press_shortcut
check "the next press reuses the approval" wait_picker
# One process, so that Shift is let go well within the wait for the modifiers' release.
xdotool keydown Return keydown shift keyup Return sleep 0.15 keyup shift
check "with Shift released soon, the password is typed as it is, not in capitals" \
    wait_field gtk text "$plain"
