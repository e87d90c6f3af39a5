# Settings and the picker as a screen reader and a keyboard user meet them: every control of
# both panes, the editor, the removal question and the picker has a name and a role, Tab reaches
# every action, and the picker's rows can be read, followed and chosen.
define_password mail 'mäil-' 'pässwörd'
add_entry Mail "$mail"
add_entry Bank "$mail"
start_gtk_fixture gtk text
start_kestrelle
open_settings
settings="Kestrelle Settings"
check "every control of the Passwords pane is named" ui unnamed "$KESTRELLE_PID" --window "$settings"
check "Tab reaches every action of the Passwords pane" ui reach "$KESTRELLE_PID" --window "$settings"
ui_do "page tab" General
ui_wait "check box" "Launch at login"
check "every control of the General pane is named" ui unnamed "$KESTRELLE_PID" --window "$settings"
check "Tab reaches every action of the General pane" ui reach "$KESTRELLE_PID" --window "$settings"

ui_do "page tab" Passwords
ui_do "push button" "Add Password…"
ui_wait dialog "Add Password"
check "every control of the editor is named" ui unnamed "$KESTRELLE_PID" --window "Add Password"
check "Tab reaches every action of the editor" ui reach "$KESTRELLE_PID" --window "Add Password"
ui_do "push button" Cancel --window "Add Password"
ui_wait dialog "Add Password" --gone

ui_do "push button" Remove --index 0
wait_kestrelle_shows "Remove password?"
check "every control of the removal question is named" \
    ui unnamed "$KESTRELLE_PID" --window "Remove password?"
ui_do "push button" Cancel --window "Remove password?"

fixture_focus gtk text
press_shortcut
wait_for 10 "the fingerprint prompt" kestrelle_shows "Touch the fingerprint reader."
check "the fingerprint prompt and its button are named" ui unnamed "$KESTRELLE_PID" --window Kestrelle
touch_reader enrolled
wait_picker
picker="Kestrelle password picker"
check "every control of the picker is named" ui unnamed "$KESTRELLE_PID" --window "$picker"
check "the picker's rows read as list items named by their labels" \
    eval '[ "$(ui list "$KESTRELLE_PID" "list item" --window "$picker" | paste -sd,)" == "Mail,Bank" ]'
press Down
check "the highlighted row reads as selected, the other not" eval \
    'ui_is "list item" Bank selected --window "$picker" && ! ui_is "list item" Mail selected --window "$picker"'
ui_do "list item" Bank --window "$picker"
check "pressing a row chooses it" wait_field gtk text "$mail"
