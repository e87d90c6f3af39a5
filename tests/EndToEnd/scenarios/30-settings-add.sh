# Adding a password in Settings (whose pane says the keyring protects them): a cancelled approval saves nothing anywhere; the enrolled
# finger's approval puts the password in the keyring and the label in the catalog, and the
# picker offers it.
define_password mail 'mäil-' 'pässwörd'
define_password bank 'Bänk-' '🔑-' 'sêcret'
add_entry Mail "$mail"
start_gtk_fixture gtk text
start_kestrelle
open_settings
check "the pane says what protects the passwords here" \
    kestrelle_shows "Saved passwords are kept in your login keyring"
before=$(stores_digest)

ui_do "push button" "Add Password…"
ui_wait dialog "Add Password"
ui_type text Label "Bank"
ui_type "password text" Password "$bank"
ui_do "push button" Save --window "Add Password"
cancel_approval
check "a cancelled approval leaves the catalog and the keyring as they were" \
    [ "$(stores_digest)" == "$before" ]
check "the editor stays open for another try" ui_wait dialog "Add Password"

ui_do "push button" Save --window "Add Password"
approve_change
check "the editor closes once saved" ui_wait dialog "Add Password" --gone
check "the catalog holds the label, after the older entry" \
    [ "$(catalog_field label | paste -sd,)" == "Mail,Bank" ]
check "the keyring holds the password for the new entry" keyring_holds "$(catalog_id 2)" "$bank"
check "both stores name the same entries" stores_agree
check "the Passwords pane lists it" ui_wait filler Bank

fixture_focus gtk text
approve_and_open_picker
press 2
check "the picker offers it as its second entry, and types it" wait_field gtk text "$bank"
