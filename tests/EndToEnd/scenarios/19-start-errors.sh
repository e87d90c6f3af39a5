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
check "without a session bus it says it needs one" \
    starts "Kestrelle needs the desktop session's bus" \
    DBUS_SESSION_BUS_ADDRESS="unix:path=$E2E_DIR/no-such-bus"

# Options are answered before a display or a bus is looked for.
answers() { # STATUS OUTPUT-STREAM FIRST-LINE ARGUMENT…: kestrelle answers so, with nothing else
    local expected_status=$1 stream=$2 first_line=$3 status=0 out=$E2E_LOG_DIR/answer
    shift 3
    timeout 20 env -u DISPLAY -u DBUS_SESSION_BUS_ADDRESS "$KESTRELLE" "$@" \
        >"$out.stdout" 2>"$out.stderr" || status=$?
    local other=stderr
    [[ $stream == stdout ]] || other=stdout
    [[ $status == "$expected_status" && ! -s $out.$other ]] &&
        [[ $(head -n 1 "$out.$stream") == "$first_line" ]]
}
version=$(sed -n 's/^project(Kestrelle VERSION \([0-9.]*\).*/\1/p' "$E2E_HARNESS/../../CMakeLists.txt")
check "--version prints the project's version" answers 0 stdout "kestrelle $version" --version
check "--help prints the usage" answers 0 stdout "Usage: kestrelle [--help | --version]" --help
check "an unknown option is refused with status 2" \
    answers 2 stderr "kestrelle: unrecognized option '--frobnicate'" --frobnicate
check "the refusal says where to look" grep -qx "Try 'kestrelle --help'." "$E2E_LOG_DIR/answer.stderr"
