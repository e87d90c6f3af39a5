# The user presses Tab while a long password is being typed, moving the focus to the next field:
# typing stops at once and an alert says why (the steps and checks are shared with the same case
# under a window manager).
check_focus_change_stops_typing
