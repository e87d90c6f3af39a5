# A copied password leaves the clipboard after a minute (kestrelle's clock runs twenty times
# faster here); a copy another client made meanwhile is never cleared.
define_password token 'tökén-' 'cléar'
add_entry Token "$token"
E2E_KESTRELLE_FAKETIME='+0 x20' start_kestrelle

click_status_item "Show Password Picker" --pid "$KESTRELLE_PID"
touch_reader enrolled
wait_picker
press 1
check "the password is on the clipboard" wait_for 5 "the copy" eval '[ "$(clipboard_text)" = "$token" ]'
check "it is gone a minute later" wait_for 10 "the clear" eval '[ -z "$(clipboard_text 2>/dev/null)" ]'

click_status_item "Show Password Picker" --pid "$KESTRELLE_PID"
touch_reader enrolled # the approval's reuse ended with the faked minute
wait_picker
press 1
wait_for 5 "the second copy" eval '[ "$(clipboard_text)" = "$token" ]'
clipboard_set 'kept'
sleep 4 # longer than the faked minute
check "another client's copy stays" [ "$(clipboard_text)" = kept ]
