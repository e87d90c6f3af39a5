# Functions for the end-to-end harness and its scenarios (sourced, never run). Every process
# started here is tracked by its pid and stopped when the sourcing shell exits. Nothing here
# prints a field's text or a password: failure messages name what differed, never the values.

E2E_PYTHON=/usr/bin/python3 # the interpreter with the gi and Xlib bindings
E2E_STARTED_PIDS=()
E2E_LOG_DIR=${E2E_LOG_DIR:-$E2E_LOGS}
declare -A E2E_FIXTURE_PIDS E2E_FIXTURE_CONTROLS

# ── Outcomes ────────────────────────────────────────────────────────────────────────────────────

fail() { # MESSAGE…: ends the scenario as failed
    echo "FAIL: $*" >&2
    exit 1
}

check() { # DESCRIPTION COMMAND…: fails the scenario unless COMMAND succeeds
    local description=$1
    shift
    if "$@"; then
        echo "ok - $description"
    else
        fail "$description"
    fi
}

# Polls COMMAND every 50 ms until it succeeds; after SECONDS (whole) says what it waited for and
# fails.
wait_for() { # SECONDS DESCRIPTION COMMAND…
    local seconds=$1 description=$2
    shift 2
    local deadline=$((${EPOCHREALTIME/./} + seconds * 1000000))
    until "$@"; do
        if ((${EPOCHREALTIME/./} >= deadline)); then
            echo "timed out after ${seconds} s waiting for $description" >&2
            return 1
        fi
        sleep 0.05
    done
}

# Sets VARIABLE to the pieces joined, and lists the password for the run's final check that no
# log holds it. Write a password in pieces so that no line of the scenario holds it whole: a log
# that quotes a scenario's source then does not count as a leak.
define_password() { # VARIABLE PIECE…
    local variable=$1 value
    shift
    printf -v value '%s' "$@"
    ((${#value} >= 8)) || fail "define_password $variable: at least 8 characters, so a match means a leak"
    [[ $value != *$'\n'* ]] || fail "define_password $variable: one line"
    printf '%s\n' "$value" >>"$E2E_PASSWORDS"
    printf -v "$variable" '%s' "$value"
}

# ── Processes ───────────────────────────────────────────────────────────────────────────────────

# Starts COMMAND in the background with its output in NAME.log and the call's standard input
# (/dev/null unless the call redirects it); its pid is in $started_pid.
start_process() { # NAME COMMAND…
    local name=$1
    shift
    "$@" <&0 >>"$E2E_LOG_DIR/$name.log" 2>&1 &
    started_pid=$!
    E2E_STARTED_PIDS+=("$started_pid")
}

is_running() { # PID: true while PID is alive and not a zombie
    local stat
    { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 1 # not $(<…): bash exits when it fails
    stat=${stat##*) }
    [[ ${stat%% *} != Z ]]
}

# Asks PID to terminate, and kills it after 5 s. PID need not be this shell's child.
stop_process() { # PID
    local pid=$1
    kill "$pid" 2>/dev/null || return 0
    local deadline=$((${EPOCHREALTIME/./} + 5000000))
    while is_running "$pid" && ((${EPOCHREALTIME/./} < deadline)); do sleep 0.02; done
    if is_running "$pid"; then
        echo "process $pid ignored SIGTERM for 5 s: killed" >&2
        kill -KILL "$pid" 2>/dev/null || true
    fi
    wait "$pid" 2>/dev/null || true
}

stop_started_processes() { # newest first, so a client goes before the service it uses
    local index
    for ((index = ${#E2E_STARTED_PIDS[@]} - 1; index >= 0; index--)); do
        stop_process "${E2E_STARTED_PIDS[index]}"
    done
    E2E_STARTED_PIDS=()
}

end_scenario() { # what the runner does when a scenario's shell exits
    "$E2E_PYTHON" "$E2E_TOOLS/keys.py" --restore || echo "could not restore the keyboard map" >&2
    stop_started_processes
}

# ── Fixtures ────────────────────────────────────────────────────────────────────────────────────
# A fixture window writes its fields' text, which field has the focus and its X window to
# $E2E_DIR/fields/NAME.json at every change, and reads "focus FIELD" lines on its standard input,
# a FIFO this shell holds open (closing it ends the fixture). With no window manager, the harness
# moves the keyboard focus between windows itself, as a click would with one.

start_fixture() { # NAME FIRST-FIELD COMMAND…: COMMAND gets the state file as its last argument
    local name=$1 field=$2
    shift 2
    local control=$E2E_DIR/fields/$name.control state=$E2E_DIR/fields/$name.json
    [[ -z ${E2E_FIXTURE_PIDS[$name]:-} ]] || fail "a fixture named $name runs already"
    rm -f "$control" "$state"
    mkfifo "$control"
    local writer
    exec {writer}<>"$control" # opened read-write, so neither end waits for the other
    "$@" "$state" <"$control" >>"$E2E_LOG_DIR/$name.log" 2>&1 &
    local pid=$!
    E2E_STARTED_PIDS+=("$pid")
    E2E_FIXTURE_PIDS[$name]=$pid
    E2E_FIXTURE_CONTROLS[$name]=$writer
    wait_for 15 "fixture $name's window" fixture_value "$name" window >/dev/null ||
        fail "fixture $name did not come up (see $E2E_LOG_DIR/$name.log)"
    focus_window "$name" "$field"
    "$E2E_PYTHON" "$E2E_TOOLS/fields.py" wait "$pid" "$field" ||
        fail "fixture $name did not appear on the accessibility bus"
}

start_gtk_fixture() { # NAME [FIELD]: a GTK 3 window with the fields text and password
    start_fixture "$1" "${2:-text}" "$E2E_PYTHON" "$E2E_FIXTURES/gtk_fixture.py" --focus "${2:-text}"
}

start_qt_fixture() { # NAME [--tray]: a Qt Widgets window with the field text
    [[ -x $E2E_QT_FIXTURE ]] ||
        fail "the Qt fixture is not built: $E2E_QT_FIXTURE (cmake --build <build dir> --target kestrelle_qt_fixture)"
    local name=$1
    shift
    start_fixture "$name" text "$E2E_QT_FIXTURE" "$@"
}

fixture_pid() { echo "${E2E_FIXTURE_PIDS[$1]:?no fixture named $1}"; }

fixture_value() { # NAME KEY: a field's text, focus (the focused field) or window, as last written
    "$E2E_PYTHON" "$E2E_TOOLS/fields.py" state "$E2E_DIR/fields/$1.json" "$2"
}

fixture_value_is() { # NAME KEY EXPECTED
    local value
    value=$(fixture_value "$1" "$2" 2>/dev/null) && [[ $value == "$3" ]]
}

fixture_focus() { # NAME FIELD: gives the fixture's window the keyboard and focuses FIELD in it
    echo "focus $2" >&"${E2E_FIXTURE_CONTROLS[$1]:?no fixture named $1}"
    focus_window "$1" "$2"
}

focus_window() { # NAME FIELD: X input focus to the fixture's window, until FIELD has the focus
    timeout 5 xdotool windowfocus --sync "$(fixture_value "$1" window)" ||
        fail "the X input focus did not go to fixture $1's window"
    wait_for 5 "fixture $1 to focus $2" fixture_value_is "$1" focus "$2" || fail "fixture $1 did not focus $2"
}

# Waits until a field holds EXPECTED; on a timeout says how long the text was, never what it was.
wait_field() { # NAME FIELD EXPECTED [SECONDS]
    wait_for "${4:-5}" "field $2 of fixture $1 to hold the expected text" fixture_value_is "$1" "$2" "$3" && return
    local held
    held=$(fixture_value "$1" "$2") || held=
    echo "field $2 of fixture $1 holds ${#held} characters, ${#3} expected" >&2
    return 1
}

field_text_atspi() { # NAME FIELD: the field's text as the accessibility bus reports it
    "$E2E_PYTHON" "$E2E_TOOLS/fields.py" text "$(fixture_pid "$1")" "$2"
}

# ── Input, clipboard, reader, status menu ───────────────────────────────────────────────────────

press() { "$E2E_PYTHON" "$E2E_TOOLS/keys.py" "$@"; } # COMBINATION… e.g. press alt+space Return

type_text() { # TEXT: typed through XTest into whatever has the keyboard focus (given on stdin)
    "$E2E_PYTHON" "$E2E_TOOLS/keys.py" --type < <(printf '%s' "$1")
}

clipboard_text() { xclip -selection clipboard -out -target UTF8_STRING; }
clipboard_targets() { xclip -selection clipboard -out -target TARGETS; }

clipboard_set() { # TEXT: an xclip process owns the clipboard until another client takes it
    start_process xclip xclip -selection clipboard -in -quiet < <(printf '%s' "$1")
}

reader() { "$E2E_PYTHON" "$E2E_TOOLS/reader.py" "$@"; } # enroll | touch FINGER | verify FINGER

touch_reader() { reader touch "$1"; } # enrolled | other: waits until a finger is needed

click_status_item() { "$E2E_PYTHON" "$E2E_TOOLS/status_menu.py" click "$@"; } # LABEL [--pid PID]

# ── The program under test ──────────────────────────────────────────────────────────────────────

# Starts kestrelle (output in kestrelle.log, pid in $KESTRELLE_PID) and waits for its status item.
# stop_process "$KESTRELLE_PID" ends it, as the end of the scenario does.
start_kestrelle() { # [ARGUMENT…]
    [[ -x $KESTRELLE ]] ||
        fail "this scenario needs kestrelle, which is not built: $KESTRELLE (built from src/App/main_linux.cpp)"
    # Without the superuser's override of file modes, as a person's copy runs (the harness may
    # run as root). Each wrapper execs, so the process keeps the id its status item is found by.
    local command=(setpriv --bounding-set -dac_override,-dac_read_search "$KESTRELLE" "$@")
    # With E2E_KESTRELLE_FAKETIME (e.g. "+0 x20") its clock runs under libfaketime.
    if [[ -n ${E2E_KESTRELLE_FAKETIME:-} ]]; then
        command=(env LD_PRELOAD="$(dpkg -L libfaketime | grep -m1 '/libfaketime\.so')"
            FAKETIME="$E2E_KESTRELLE_FAKETIME" "${command[@]}")
    fi
    # With E2E_KESTRELLE_RUN_DIR, it sees that directory as /run (in a mount namespace of its own).
    if [[ -n ${E2E_KESTRELLE_RUN_DIR:-} ]]; then
        command=(unshare --map-current-user --mount sh -c 'mount --bind "$0" /run && exec "$@"'
            "$E2E_KESTRELLE_RUN_DIR" "${command[@]}")
    fi
    start_process kestrelle "${command[@]}"
    KESTRELLE_PID=$started_pid
    "$E2E_PYTHON" "$E2E_TOOLS/status_menu.py" labels --pid "$KESTRELLE_PID" --timeout 15 >/dev/null ||
        fail "kestrelle showed no status item (see $E2E_LOG_DIR/kestrelle.log)"
}

# Saves an entry as Settings would: its label in the catalog file, its password in the keyring
# under the app's schema. Entries keep the order they were added in, the first one being the
# picker's "1".
add_entry() { # LABEL PASSWORD
    local id catalog=$XDG_DATA_HOME/kestrelle/entries.json
    # A scenario's first entry replaces those of the scenarios before it.
    if [[ -z ${E2E_ENTRIES_ADDED:-} ]]; then
        rm -f "$catalog"
        secret-tool clear service app.kestrelle.Kestrelle.passwords 2>/dev/null || true
        E2E_ENTRIES_ADDED=1
    fi
    id=$("$E2E_PYTHON" -c 'import uuid; print(str(uuid.uuid4()).upper())')
    mkdir -p "${catalog%/*}"
    "$E2E_PYTHON" - "$catalog" "$id" "$1" <<'PY'
import json, os, sys
path, entry_id, label = sys.argv[1:]
catalog = {"schemaVersion": 1, "orderedEntries": []}
if os.path.exists(path):
    with open(path) as f:
        catalog = json.load(f)
catalog["orderedEntries"].append({"id": entry_id, "label": label})
with open(path, "w") as f:
    json.dump(catalog, f)
PY
    printf '%s' "$2" | secret-tool store --label="Kestrelle password for entry $id" \
        xdg:schema app.kestrelle.Kestrelle.Password service app.kestrelle.Kestrelle.passwords \
        account "$id"
}

picker_shown() { xdotool search --onlyvisible --name '^Kestrelle password picker$' >/dev/null; }
wait_picker() { wait_for "${1:-10}" "the password picker" picker_shown; }
wait_picker_gone() { wait_for "${1:-10}" "the picker to close" eval '! picker_shown'; }

# The shortcut, pressed and released as a person does.
press_shortcut() { press ctrl+alt+space; }
# The shortcut, then the enrolled finger on the reader, until the picker shows.
approve_and_open_picker() {
    press_shortcut
    touch_reader enrolled
    wait_picker
}

# ── Settings, as a person and a screen reader use it ────────────────────────────────────────────
# Controls are found over the accessibility bus by role and name (ui.py); text goes in through
# XTest into the control given the focus, as typing does.

E2E_CATALOG=$XDG_DATA_HOME/kestrelle/entries.json
E2E_PASSWORD_SERVICE=app.kestrelle.Kestrelle.passwords

ui() { "$E2E_PYTHON" "$E2E_TOOLS/ui.py" "$@"; }
ui_wait() { ui wait "$KESTRELLE_PID" "$@"; }       # ROLE NAME [--gone] [--window NAME]
ui_do() { ui do "$KESTRELLE_PID" "$@"; }           # ROLE NAME [--index N] [--window NAME]
ui_is() { ui is "$KESTRELLE_PID" "$@"; }           # ROLE NAME STATE
ui_type() { # ROLE NAME TEXT: replaces the control's text by TEXT, typed
    ui focus "$KESTRELLE_PID" "$1" "$2"
    press ctrl+a BackSpace
    type_text "$3"
}

open_settings() { # through the status menu, until the Passwords pane shows
    click_status_item "Settings…" --pid "$KESTRELLE_PID"
    ui_wait "page tab" Passwords
}

# The approval prompt of a Settings change: the enrolled finger, or its Cancel.
approval_prompt_shown() { kestrelle_shows "Authorize this password settings change."; }
approve_change() {
    wait_for 10 "the approval prompt" approval_prompt_shown
    touch_reader enrolled
    wait_for 10 "the approval prompt to go" eval '! approval_prompt_shown'
}
cancel_approval() {
    wait_for 10 "the approval prompt" approval_prompt_shown
    ui_do "push button" Cancel --enabled # the prompt's: the editor's is disabled meanwhile
    wait_for 10 "the approval prompt to go" eval '! approval_prompt_shown'
}

catalog_field() { # id|label: the catalog's entries' ids or labels, in order, one a line
    "$E2E_PYTHON" -c 'import json, sys
for entry in json.load(open(sys.argv[1]))["orderedEntries"]: print(entry[sys.argv[2]])' \
        "$E2E_CATALOG" "$1"
}
catalog_id() { catalog_field id | sed -n "${1}p"; } # INDEX (from 1)
keyring_accounts() { # the entry ids the keyring holds a password for, sorted; never a secret
    secret-tool search --all service "$E2E_PASSWORD_SERVICE" 2>&1 |
        sed -n 's/^attribute\.account = //p' | sort
}
keyring_holds() { # ID PASSWORD: whether the keyring holds exactly PASSWORD for the entry
    local held
    held=$(secret-tool lookup service "$E2E_PASSWORD_SERVICE" account "$1") && [[ $held == "$2" ]]
}
stores_agree() { [[ $(catalog_field id | sort) == "$(keyring_accounts)" ]]; }
stores_digest() { { cat "$E2E_CATALOG" 2>/dev/null; keyring_accounts; } | sha256sum; }

# Whether kestrelle shows TEXT anywhere on the accessibility bus (an alert, a prompt, a window).
kestrelle_shows() { "$E2E_PYTHON" "$E2E_TOOLS/fields.py" names "$KESTRELLE_PID" | grep -F -- "$1" >/dev/null; }
wait_kestrelle_shows() { wait_for "${2:-10}" "kestrelle to show \"$1\"" kestrelle_shows "$1"; }
click_kestrelle_button() { "$E2E_PYTHON" "$E2E_TOOLS/fields.py" press "$KESTRELLE_PID" "$1"; }

# The desktop's Settings portal, as a desktop that prefers a dark (or a light) appearance offers
# it; kestrelle reads it when it starts. `set_colour_scheme` changes it as the desktop's switch does.
start_settings_portal() { # dark|light
    start_process settings-portal "$E2E_PYTHON" -m dbusmock --session org.freedesktop.portal.Desktop \
        /org/freedesktop/portal/desktop org.freedesktop.portal.Settings
    wait_for 10 "the Settings portal on the bus" eval gdbus introspect --session \
        -d org.freedesktop.portal.Desktop -o /org/freedesktop/portal/desktop "&>/dev/null"
    set_colour_scheme "$1"
}
set_colour_scheme() { # dark|light
    local value
    case $1 in dark) value=1 ;; light) value=2 ;; *) fail "set_colour_scheme dark|light" ;; esac
    portal_mock() {
        gdbus call --session -d org.freedesktop.portal.Desktop -o /org/freedesktop/portal/desktop \
            -m "org.freedesktop.DBus.Mock.$1" "${@:2}" >/dev/null
    }
    portal_mock AddMethod org.freedesktop.portal.Settings Read ss v "ret = dbus.UInt32($value)"
    portal_mock EmitSignal org.freedesktop.portal.Settings SettingChanged ssv \
        "[<'org.freedesktop.appearance'>, <'color-scheme'>, <<uint32 $value>>]"
}

# A screen saver on the session bus, started before kestrelle so that it hears it; then
# `lock_screen` turns it on, as locking the screen does.
start_screensaver() {
    start_process screensaver "$E2E_PYTHON" -m dbusmock --session org.freedesktop.ScreenSaver \
        /org/freedesktop/ScreenSaver org.freedesktop.ScreenSaver
    wait_for 10 "the screen saver on the bus" eval gdbus introspect --session \
        -d org.freedesktop.ScreenSaver -o /org/freedesktop/ScreenSaver "&>/dev/null"
}
lock_screen() {
    gdbus call --session -d org.freedesktop.ScreenSaver -o /org/freedesktop/ScreenSaver \
        -m org.freedesktop.DBus.Mock.EmitSignal org.freedesktop.ScreenSaver ActiveChanged b \
        '[<true>]' >/dev/null
}

# logind on the run's system bus, with one session of this user, started before kestrelle so that
# it finds its session. logind resolves GetSession("auto") to the caller's session; the mock
# only appends the argument to the path, so it is taught the answer.
start_logind() {
    start_process logind "$E2E_PYTHON" -m dbusmock --system --template logind
    wait_for 10 "logind on the system bus" eval gdbus introspect --system -d org.freedesktop.login1 \
        -o /org/freedesktop/login1 "&>/dev/null"
    logind_mock AddSession "'e2e'" "'seat0'" "uint32 $(id -u)" "'$(id -un)'" true
    logind_mock AddMethod org.freedesktop.login1.Manager GetSession s o \
        "'ret = \"$E2E_LOGIN_SESSION\"'"
}
E2E_LOGIN_SESSION=/org/freedesktop/login1/session/e2e
logind_mock() { # METHOD ARGUMENT…: a call of the mock's own interface on logind's manager
    gdbus call --system -d org.freedesktop.login1 -o /org/freedesktop/login1 \
        -m "org.freedesktop.DBus.Mock.$@" >/dev/null
}
lock_session() { # logind's Lock for this session, as `loginctl lock-session` makes it
    gdbus call --system -d org.freedesktop.login1 -o "$E2E_LOGIN_SESSION" \
        -m org.freedesktop.DBus.Mock.EmitSignal org.freedesktop.login1.Session Lock '' '[]' >/dev/null
}
prepare_for_sleep() { # true|false: logind's announcement before a suspend, and after the resume
    logind_mock EmitSignal org.freedesktop.login1.Manager PrepareForSleep b "[<$1>]"
}

# The user presses Tab while a long password is being typed, moving the focus to the next field:
# typing stops at once and an alert says why. Keys go wherever the focus is, so a key already on
# its way when Tab was pressed may land in the next field, but never more than that one. Starts
# the GTK fixture "gtk" and kestrelle.
check_focus_change_stops_typing() {
    define_password long 'lóng-' "$(printf 'x%.0s' {1..1000})" '-énd'
    add_entry Long "$long"
    start_gtk_fixture gtk text
    start_kestrelle

    fixture_focus gtk text
    approve_and_open_picker
    press 1
    wait_for 5 "typing to begin" eval '[ -n "$(fixture_value gtk text)" ]'
    press Tab
    check "the alert says the field changed" \
        wait_kestrelle_shows "The original input is no longer focused. Nothing more was typed."
    other=$(fixture_value gtk password)
    check "at most the key on its way landed in the other field (${#other} did)" [ "${#other}" -le 1 ]
    check "the first field holds a beginning of the password, not all of it" \
        eval 'typed=$(fixture_value gtk text); [[ -n $typed && $long == "$typed"* && $typed != "$long" ]]'
}

# A stand-in for systemd's journal (tools/journal.py) at $E2E_DIR/run/systemd/journal/socket,
# which kestrelle reaches with E2E_KESTRELLE_RUN_DIR=$E2E_DIR/run; the entries it receives are JSON
# lines of $E2E_LOG_DIR/journal.jsonl, which journal_has reads.
start_journal() {
    start_process journal "$E2E_PYTHON" "$E2E_TOOLS/journal.py" \
        "$E2E_DIR/run/systemd/journal/socket" "$E2E_LOG_DIR/journal.jsonl"
    wait_for 10 "the journal's socket" grep -q listening "$E2E_LOG_DIR/journal.log"
}
journal_has() { # COUNT FIELD=VALUE…: exactly COUNT entries have all these fields
    "$E2E_PYTHON" - "$E2E_LOG_DIR/journal.jsonl" "$@" <<'PY'
import json, sys
path, count, *wanted = sys.argv[1:]
wanted = dict(field.split("=", 1) for field in wanted)
try:
    with open(path, encoding="utf-8") as file:
        entries = [json.loads(line) for line in file]
except FileNotFoundError:
    entries = []
matches = [e for e in entries if all(e.get(k) == v for k, v in wanted.items())]
sys.exit(0 if len(matches) == int(count) and not any("malformed" in e for e in entries) else 1)
PY
}
