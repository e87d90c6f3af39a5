# Under a light window manager (openbox): typing lands in the field, and moving the focus
# stops it.
define_password managed 'öpen-' 'bøx-' '漢'
add_entry Managed "$managed"
start_process openbox openbox --sm-disable
wait_for 10 "openbox to manage the screen" eval 'xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"'
start_gtk_fixture gtk text
start_kestrelle

fixture_focus gtk text
approve_and_open_picker
press 1
check "the password is typed into the GTK field under openbox" wait_field gtk text "$managed"
