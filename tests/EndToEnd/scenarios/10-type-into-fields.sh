# The shortcut in a text field, the enrolled finger, the picker's first entry: the password lands
# in that very field, exactly, whatever its characters. Later presses reuse the approval.
define_password everyday 'Ünïcødé-' '漢字-' '😀-€' '-Ok'
add_entry Everyday "$everyday"
start_gtk_fixture gtk text
start_qt_fixture qt
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press 1
check "the password is typed into the GTK text field" wait_field gtk text "$everyday"
check "the picker closes" wait_picker_gone

fixture_focus gtk password
press_shortcut
check "a press within the reuse period shows the picker without a prompt" wait_picker
press 1
check "the password is typed into the GTK password field" wait_field gtk password "$everyday"

fixture_focus qt text
press_shortcut
wait_picker
press 1
check "the password is typed into the Qt line edit" wait_field qt text "$everyday"
