# A locked keyring: choosing an entry ends in a clear message, no unlock prompt appears, nothing
# is typed, and the entry and its password are still there. Last of all, as the keyring stays
# locked.
define_password vault 'vä' 'ult-pw'
add_entry Vault "$vault"
start_gtk_fixture gtk text
start_kestrelle

(secret-tool lock --collection=login >/dev/null 2>&1) 2>/dev/null || true # it locks, then may crash
fixture_focus gtk text
approve_and_open_picker
press 1
check "the alert says the keyring is locked" \
    wait_kestrelle_shows "The keyring that holds your passwords is locked."
check "nothing was typed" [ -z "$(fixture_value gtk text)" ]
check "the entry is still in the catalog" grep -q '"Vault"' "$XDG_DATA_HOME/kestrelle/entries.json"
check "its password is still in the keyring" \
    eval 'secret-tool search --all service app.kestrelle.Kestrelle.passwords 2>&1 | grep -q "^label = Kestrelle password"'

