# A start that cannot go on ends at once with one clear line and a failure status.
[[ -x $KESTRELLE ]] || fail "this scenario needs kestrelle, which is not built: $KESTRELLE"
starts() { # EXPECTED-LINE ENV-ARGUMENT…: kestrelle fails with that line under that environment
    local expected=$1 output status=0
    shift
    output=$(timeout 20 env "$@" "$KESTRELLE" 2>&1) || status=$?
    [[ $status == 1 ]] && grep -qF -- "$expected" <<<"$output"
}
check "without an X display it says it needs X11" \
    starts "Kestrelle needs an X11 session" -u DISPLAY
check "without a home it says which folder is missing" \
    starts "The user settings folder could not be found" -u HOME -u XDG_CONFIG_HOME
