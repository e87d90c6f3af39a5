# "Launch at login" in General writes the XDG autostart entry that starts this program, and
# takes it away again.
start_kestrelle
entry=$XDG_CONFIG_HOME/autostart/kestrelle.desktop
rm -f "$entry"
open_settings
ui_do "page tab" General
ui_wait "check box" "Launch at login"
check "the box starts off" eval '! ui_is "check box" "Launch at login" checked'

ui_do "check box" "Launch at login"
check "turning it on writes the autostart entry" wait_for 5 "the entry" test -f "$entry"
check "the entry starts this program" grep -qxF "Exec=\"$(realpath "$KESTRELLE")\"" "$entry"
check "the box shows on" wait_for 5 "the box to be on" ui_is "check box" "Launch at login" checked

ui_do "check box" "Launch at login"
check "turning it off takes the entry away" wait_for 5 "the entry to go" eval '[ ! -e "$entry" ]'
check "the box shows off" wait_for 5 "the box to be off" eval '! ui_is "check box" "Launch at login" checked'
