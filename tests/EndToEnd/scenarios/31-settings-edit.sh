# Changing entries in Settings: a rename, a new password, moves and a removal each ask for a
# fresh approval and leave the catalog and the keyring in agreement. A catalog that cannot be
# written undoes the keyring step and says so; saving again once it can be written succeeds.
define_password mail 'mäil-' 'pässwörd'
define_password bank 'bänk-' 'pässwörd'
define_password shop 'shöp-' 'pässwörd'
define_password replaced 'Rëplaced-' '漢字'
define_password later 'lätër-' 'pässwörd'
add_entry Mail "$mail"
add_entry Bank "$bank"
add_entry Shop "$shop"
start_kestrelle
open_settings
labels() { catalog_field label | paste -sd,; }
mail_id=$(catalog_id 1) bank_id=$(catalog_id 2) shop_id=$(catalog_id 3)

edit() { # INDEX: opens the editor of the row
    ui_do "push button" Edit --index "$1"
    ui_wait dialog "Edit Password"
}
save() { ui_do "push button" Save --window "Edit Password"; }

edit 0
ui_type text Label Post
save
approve_change
check "a rename closes the editor" ui_wait dialog "Edit Password" --gone
check "a rename changes the label only" [ "$(labels)" == "Post,Bank,Shop" ]
check "a rename keeps the password" keyring_holds "$mail_id" "$mail"

edit 1
ui_type "password text" "Replacement Password" "$replaced"
save
approve_change
check "a new password closes the editor" ui_wait dialog "Edit Password" --gone
check "the keyring holds the new password" keyring_holds "$bank_id" "$replaced"
check "a new password keeps the label" [ "$(labels)" == "Post,Bank,Shop" ]

ui_do "push button" "Move Down" --index 0
approve_change
check "Move Down moves the entry one down" wait_for 5 "the order" eval '[ "$(labels)" == "Bank,Post,Shop" ]'
ui_do "push button" "Move Up" --index 2
approve_change
check "Move Up moves the entry one up" wait_for 5 "the order" eval '[ "$(labels)" == "Bank,Shop,Post" ]'
pane_rows() { ui list "$KESTRELLE_PID" filler | grep -x -e Bank -e Shop -e Post | paste -sd,; }
check "the pane shows the new order" [ "$(pane_rows)" == "Bank,Shop,Post" ]

ui_do "push button" Remove --index 1
check "Remove asks first" wait_kestrelle_shows "Remove password?"
ui_do "push button" Remove --window "Remove password?"
approve_change
check "the removed entry leaves the catalog" wait_for 5 "the removal" eval '[ "$(labels)" == "Bank,Post" ]'
check "the removed entry's password leaves the keyring" eval '! keyring_accounts | grep -qx "$shop_id"'
check "both stores name the same entries" stores_agree

# A catalog folder that cannot be written: the keyring step is undone.
catalog_folder=${E2E_CATALOG%/*}
chmod a-w "$catalog_folder"
before=$(stores_digest)
edit 0
ui_type "password text" "Replacement Password" "$later"
save
approve_change
check "a failed save says the catalog was not changed" wait_kestrelle_shows "could not be saved"
chmod u+w "$catalog_folder"
check "the editor stays open" ui_wait dialog "Edit Password"
check "the keyring keeps the password it had" keyring_holds "$bank_id" "$replaced"
check "the catalog and the keyring's entries are as they were" [ "$(stores_digest)" == "$before" ]

save
approve_change
check "saving again once the folder is writable closes the editor" ui_wait dialog "Edit Password" --gone
check "and stores the new password" keyring_holds "$bank_id" "$later"
check "both stores still agree" stores_agree
