# The focus moves to another field while a long password is being typed: typing stops at once,
# nothing lands in the other field, and an alert says why.
define_password long 'lóng-' "$(printf 'x%.0s' {1..150})" '-énd'
add_entry Long "$long"
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
press_shortcut
touch_reader enrolled
wait_picker
press 1
wait_for 5 "typing to begin" eval '[ -n "$(fixture_value gtk text)" ]'
fixture_focus gtk password
check "the alert says the field changed" \
    wait_kestrelle_shows "The original input is no longer focused. Nothing more was typed."
check "nothing landed in the other field" [ -z "$(fixture_value gtk password)" ]
check "the first field holds a beginning of the password, not all of it" \
    eval 'typed=$(fixture_value gtk text); [[ -n $typed && $long == "$typed"* && $typed != "$long" ]]'
