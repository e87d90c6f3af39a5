# logind's Lock of this session, and its PrepareForSleep before a suspend, end the reuse of an
# approval: the next press asks again. The announcement of a resume alone does not.
define_password locked 'löck-' 'sléep-' 'pw'
add_entry Locked "$locked"
start_logind
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press Escape
wait_picker_gone
press_shortcut
check "a press within the reuse period shows the picker without a prompt" wait_picker
press Escape
wait_picker_gone

asks_again() { # the next press prompts, and the picker waits for the finger
    press_shortcut
    wait_kestrelle_shows "Touch the fingerprint reader." && ! picker_shown &&
        touch_reader enrolled && wait_picker && press Escape && wait_picker_gone
}
lock_session
check "after logind locks the session the next press asks again" asks_again

prepare_for_sleep false
press_shortcut
check "a resume alone keeps the approval" wait_picker
press Escape
wait_picker_gone

prepare_for_sleep true
prepare_for_sleep false
check "after a suspend the next press asks again" asks_again
check "nothing was typed" [ -z "$(fixture_value gtk text)" ]
