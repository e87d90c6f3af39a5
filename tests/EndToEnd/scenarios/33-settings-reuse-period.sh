# The reuse period chosen in General holds: with 30 seconds, a press 40 seconds after an
# approval asks again; with 5 minutes it does not (kestrelle's clock runs ten times faster).
define_password mail 'mäil-' 'pässwörd'
add_entry Mail "$mail"
start_gtk_fixture gtk text
E2E_KESTRELLE_FAKETIME='+0 x10' start_kestrelle
prompt_shown() { kestrelle_shows "Touch the fingerprint reader."; }
choose_period() { # FROM TO DOWNS: opens the period's list at FROM, goes down to TO, chooses it
    open_settings
    ui_do "page tab" General
    ui_do "combo box" "$1"
    wait_for 5 "the list to open" ui_is "combo box" "$1" expanded
    for ((step = 0; step < $3; step++)); do press Down; done
    press Return
    ui_wait "combo box" "$2"
}
approved_press() { # the shortcut, the finger, the picker, closed again
    fixture_focus gtk text
    approve_and_open_picker
    press Escape
    wait_picker_gone
}
forty_seconds_later() { sleep 4; } # on kestrelle's faster clock

choose_period "30 seconds" "30 seconds" 0
approved_press
forty_seconds_later
press_shortcut
check "with 30 seconds, a press 40 seconds after the approval asks again" \
    wait_for 10 "the prompt" prompt_shown
touch_reader enrolled
wait_picker
press Escape
wait_picker_gone

choose_period "30 seconds" "5 minutes" 3
check "the choice is kept in the preferences" \
    grep -q '"settings.biometricReuseWindowSeconds": *300' "$XDG_CONFIG_HOME/kestrelle/preferences.json"
fixture_focus gtk text
press_shortcut
# The approval a moment ago may still be reused; otherwise the finger approves again.
wait_for 10 "the prompt or the picker" eval 'picker_shown || prompt_shown'
picker_shown || { touch_reader enrolled && wait_picker; }
press Escape
wait_picker_gone
forty_seconds_later
fixture_focus gtk text
press_shortcut
check "with 5 minutes, a press 40 seconds later opens the picker without a prompt" wait_picker
check "and no prompt showed" eval '! prompt_shown'
