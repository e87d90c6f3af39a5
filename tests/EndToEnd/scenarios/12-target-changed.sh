# The user presses Tab while a long password is being typed, moving the focus to the next field:
# typing stops at once and an alert says why. Keys go wherever the focus is, so a key already on
# its way when Tab was pressed may land in the next field, but never more than that one.
define_password long 'lóng-' "$(printf 'x%.0s' {1..1000})" '-énd'
add_entry Long "$long"
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press 1
wait_for 5 "typing to begin" eval '[ -n "$(fixture_value gtk text)" ]'
press Tab
check "the alert says the field changed" \
    wait_kestrelle_shows "The original input is no longer focused. Nothing more was typed."
other=$(fixture_value gtk password)
check "at most the key on its way landed in the other field (${#other} did)" [ "${#other}" -le 1 ]
check "the first field holds a beginning of the password, not all of it" \
    eval 'typed=$(fixture_value gtk text); [[ -n $typed && $long == "$typed"* && $typed != "$long" ]]'
