# The Qt fixture: its field takes XTest typing and reports it, in its state file and over the
# accessibility bus, and its window takes the focus back when told.

text='Qt: typed ß € ✓'

start_qt_fixture qt
type_text "$text"
check "XTest typing reaches the Qt field" wait_field qt text "$text"
check "the accessibility bus reads the Qt field's text" [ "$(field_text_atspi qt text)" = "$text" ]
press ctrl+a BackSpace shift+q
check "XTest key combinations reach the Qt field" wait_field qt text Q

start_gtk_fixture gtk
check "the Qt field lost the focus to the GTK window" fixture_value_is qt focus ''
fixture_focus qt text
press w
check "the Qt field takes typing again once focused" wait_field qt text Qw
