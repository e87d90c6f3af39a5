# Super with a digit copies instead: the clipboard holds the password marked as secret for
# clipboard managers, and a later copy by another client is left alone.
define_password banking 'cöpy-' 'mé-' '🔑'
add_entry Banking "$banking"
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press super+1
check "the clipboard holds the password" wait_for 5 "the clipboard" eval '[ "$(clipboard_text)" = "$banking" ]'
check "the copy is marked as a secret" eval 'clipboard_targets | grep -qx x-kde-passwordManagerHint'
check "nothing is typed when copying" [ "$(fixture_value gtk text)" = "" ]

clipboard_set 'someone else'
check "another client's later copy is kept" wait_for 5 "the other copy" eval '[ "$(clipboard_text)" = "someone else" ]'
