# Under a window manager (openbox), which hands the focus around itself, moving the focus to the
# next field mid-typing stops the typing as it does without one.
start_process openbox openbox --sm-disable
openbox_pid=$started_pid
wait_for 10 "openbox to manage the screen" eval 'xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"'
check_focus_change_stops_typing
check "the window manager still runs" is_running "$openbox_pid"
