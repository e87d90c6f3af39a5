# The harness on its own, without kestrelle: every component kestrelle talks to is up and can be
# driven. When a later scenario fails, this one tells whether the desktop around it works.

define_password secret 'e2e-' 'secret-' 'Ωm4#tq'
define_password typed 'gtk-' 'typed-' 'pässwörd!'
text='Hello, wörld € ✓'

# The Secret Service, unlocked at bring-up.
printf '%s' "$secret" | secret-tool store --label='End-to-end probe' kestrelle-e2e components
check "the Secret Service returns what was stored" \
    [ "$(secret-tool lookup kestrelle-e2e components)" = "$secret" ]

# fprintd on the virtual reader, with the finger enrolled at bring-up.
check "fprintd matches the enrolled finger" [ "$(reader verify enrolled)" = verify-match ]
check "fprintd rejects another finger" [ "$(reader verify other)" = verify-no-match ]

# A tray icon registered with the status-notifier watcher, its menu clicked over D-Bus.
start_qt_fixture tray --tray
click_status_item Second --pid "$(fixture_pid tray)"
check "a status-menu click reaches the tray icon's program" \
    wait_for 5 "the click" fixture_value_is tray clicked Second

# Typing into a GTK window, read back from the window and over the accessibility bus.
start_gtk_fixture gtk
xdotool type --delay 12 'xdotool, 42'
check "xdotool typing reaches the GTK text field" wait_field gtk text 'xdotool, 42'
press ctrl+a BackSpace
check "XTest key combinations edit the GTK field" wait_field gtk text ''
type_text "$text"
check "typing characters beyond the keyboard map reaches the GTK field" wait_field gtk text "$text"
check "the accessibility bus reads the same text" [ "$(field_text_atspi gtk text)" = "$text" ]
press shift+x
check "a key with a modifier reaches the GTK field" wait_field gtk text "${text}X"

fixture_focus gtk password
type_text "$typed"
check "typing reaches the GTK password field" wait_field gtk password "$typed"
reads_masked() {
    local shown
    shown=$(field_text_atspi gtk password)
    [[ $shown != "$typed" && ${#shown} -eq ${#typed} ]]
}
check "the accessibility bus reads the password field masked" reads_masked

# The clipboard: set and read back with xclip, then pasted into the GTK field.
clipboard_set "$text"
clipboard_is() { [[ $(clipboard_text 2>/dev/null) == "$1" ]]; }
check "xclip reads back what xclip put on the clipboard" wait_for 5 "the clipboard" clipboard_is "$text"
check "the clipboard offers UTF8_STRING" grep -qx UTF8_STRING <(clipboard_targets)
fixture_focus gtk text
press ctrl+a BackSpace ctrl+v
check "a paste with ctrl+v puts the clipboard into the GTK field" wait_field gtk text "$text"
