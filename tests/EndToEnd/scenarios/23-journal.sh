# Where systemd's journal listens, each log line goes to it too, under the identifier kestrelle with
# its level as the priority; when standard error is itself the journal's stream, only once.
start_journal
launching=(SYSLOG_IDENTIFIER=kestrelle PRIORITY=6 'MESSAGE=[AppDelegate] Kestrelle launching')
unobserved=(SYSLOG_IDENTIFIER=kestrelle PRIORITY=5
    'MESSAGE=[SessionInterruptions] No login session: its locks are not observed')
stderr_lines() { grep -c "\[AppDelegate\] info: Kestrelle launching" "$E2E_LOG_DIR/kestrelle.log" || true; }

E2E_KESTRELLE_RUN_DIR=$E2E_DIR/run start_kestrelle
check "an info line reaches the journal with priority 6" wait_for 5 "the entry" journal_has 1 "${launching[@]}"
check "a notice reaches it with priority 5" wait_for 5 "the entry" journal_has 1 "${unobserved[@]}"
check "the line goes to standard error as well" [ "$(stderr_lines)" = 1 ]
stop_process "$KESTRELLE_PID"

# systemd names the stream it collects a service's standard error from by device and inode.
JOURNAL_STREAM=$(stat -c %d:%i "$E2E_LOG_DIR/kestrelle.log") E2E_KESTRELLE_RUN_DIR=$E2E_DIR/run \
    start_kestrelle
check "with standard error in the journal, the line reaches the journal" \
    wait_for 5 "the entry" journal_has 2 "${launching[@]}"
check "and is not written to standard error too" [ "$(stderr_lines)" = 1 ]
