# Settings' panes, the editor and the picker follow the desktop's appearance, light and dark,
# at launch and when it changes. The pictures stay in the scenario's log folder
# (KESTRELLE_E2E_KEEP=1 keeps them after a passing run); docs/ shows the current ones.
define_password mail 'mäil-' 'pässwörd'
add_entry Mail "$mail"
add_entry Bank "$mail"
add_entry "Work VPN" "$mail"
start_gtk_fixture gtk text
start_settings_portal light
start_kestrelle
shot() { ui shot "$E2E_LOG_DIR/$1.png" --name "$2"; } # NAME WINDOW-NAME
lightness() { ui lightness "$E2E_LOG_DIR/$1.png"; }
photograph() { # SCHEME: both panes, the editor and the picker
    open_settings
    ui_do "page tab" Passwords
    shot "settings-passwords-$1" "Kestrelle Settings"
    ui_do "page tab" General
    ui_wait "check box" "Launch at login"
    shot "settings-general-$1" "Kestrelle Settings"
    ui_do "page tab" Passwords
    ui_do "push button" Edit --index 0
    ui_wait dialog "Edit Password"
    shot "settings-editor-$1" "Edit Password"
    ui_do "push button" Cancel --window "Edit Password"
    ui_wait dialog "Edit Password" --gone
    fixture_focus gtk text
    press_shortcut
    wait_for 10 "the prompt or the picker" \
        eval 'picker_shown || kestrelle_shows "Touch the fingerprint reader."'
    picker_shown || { touch_reader enrolled && wait_picker; }
    shot "picker-$1" "Kestrelle password picker"
    press Escape
    wait_picker_gone
}
light_and_dark() { # SCHEME: each picture is mostly light, or mostly dark
    local picture value
    for picture in settings-passwords settings-general settings-editor picker; do
        value=$(lightness "$picture-$1")
        if [[ $1 == light ]]; then ((value > 170)) || return 1; else ((value < 90)) || return 1; fi
    done
}

photograph light
check "with a light desktop every window is light" light_and_dark light

set_colour_scheme dark
open_settings
shot settings-live-dark "Kestrelle Settings"
check "Settings turns dark when the desktop does" eval '(($(lightness settings-live-dark) < 90))'

# A fresh start under a dark desktop, for the pictures.
stop_process "$KESTRELLE_PID"
start_kestrelle
photograph dark
check "with a dark desktop every window is dark" light_and_dark dark
