# Starting the program again while it runs shows the running copy's Settings and ends the new
# one at once, with status 0: one copy remains.
start_kestrelle
check "Settings is not open yet" eval '! ui_wait "page tab" Passwords --timeout 1 2>/dev/null'
copies() { # this run's running copies of the program
    local process count=0
    for process in /proc/[0-9]*; do
        [[ $(readlink "$process/exe" 2>/dev/null) == "$(realpath "$KESTRELLE")" ]] || continue
        tr '\0' '\n' <"$process/environ" 2>/dev/null | grep -qxF "E2E_DIR=$E2E_DIR" || continue
        is_running "${process#/proc/}" && count=$((count + 1))
    done
    echo "$count"
}
status=0
timeout 20 "$KESTRELLE" >>"$E2E_LOG_DIR/second.log" 2>&1 || status=$?
check "the second copy ends with status 0" [ "$status" == 0 ]
check "the running copy shows its Settings" ui_wait "page tab" Passwords
check "one copy remains" [ "$(copies)" == 1 ]
check "and it is the first" is_running "$KESTRELLE_PID"
