# The benchmark of the invocation road, which scripts/bench-linux has tests/EndToEnd/run run as
# its only scenario: kestrelle with one entry, a GTK field, and bench/measure.py timing both from
# outside.
define_password password 'Tr0ub4dor&3 p' 'ä€😀漢Ж!Q@w#E$r%' 'T^y&U*iöß~Z'
add_entry Benchmark "$password"
start_gtk_fixture gtk text
start_kestrelle
fixture_focus gtk text
"$E2E_PYTHON" "$E2E_HARNESS/bench/measure.py" --state "$E2E_DIR/fields/gtk.json" \
    --log "$E2E_LOG_DIR/kestrelle.log" --runs "${KESTRELLE_BENCH_RUNS:-21}" \
    < <(printf '%s' "$password")
