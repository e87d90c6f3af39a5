#!/usr/bin/env bash
# The inside of an end-to-end run, on the run's private session bus (tests/EndToEnd/run starts it
# with the console on fds 3 and 4): brings up the desktop services kestrelle talks to, runs each
# scenario file given as an argument in a shell of its own, checks that no password of the
# scenarios reached a log, and stops what it started.
set -euo pipefail
exec 1>&3 2>&4 3>&- 4>&- # the session bus and what it activates keep logging to session-bus.log

source "$E2E_HARNESS/lib/helpers.sh"
E2E_LOG_DIR=$E2E_LOGS/bring-up
mkdir -p "$E2E_LOG_DIR" "$E2E_DIR/fields" "$E2E_DIR/system-bus" "$E2E_DIR/fingerprint/prints"
: >"$E2E_PASSWORDS"
chmod 600 "$E2E_PASSWORDS"

has_owner() { # --session|--system NAME
    gdbus call "$1" --timeout 5 --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner "$2" 2>/dev/null | grep -q true
}

owner_pid() { # --session|--system NAME: the pid of the name's owner
    local reply
    reply=$(gdbus call "$1" --timeout 5 --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.GetConnectionUnixProcessID "$2" 2>/dev/null) || return 1
    reply=${reply#(uint32 }
    echo "${reply%,)}"
}

# The session bus starts the accessibility bus on demand; it is not this shell's child.
accessibility_bus_pid='' scenario_pid=''
stop_everything() {
    [[ -z $scenario_pid ]] || stop_process "$scenario_pid"
    stop_started_processes
    [[ -z $accessibility_bus_pid ]] || stop_process "$accessibility_bus_pid"
}
trap stop_everything EXIT
trap 'exit 143' TERM
trap 'exit 130' INT

since() { echo $(((${EPOCHREALTIME/./} - $1) / 1000)); } # STARTED_US: milliseconds since

# ── Bring-up ────────────────────────────────────────────────────────────────────────────────────
step_started=${EPOCHREALTIME/./}
timings="display $(since "$E2E_STARTED_US") ms"

# Toolkits read the accessibility switch once, when they start.
gdbus call --session --timeout 10 --dest org.a11y.Bus --object-path /org/a11y/bus \
    --method org.freedesktop.DBus.Properties.Set org.a11y.Status IsEnabled '<true>' >/dev/null
accessibility_bus_pid=$(owner_pid --session org.a11y.Bus)

# The Secret Service, its login collection unlocked with a known password.
define_password keyring_password 'e2e-login-' 'keyring-pass'
start_process keyring gnome-keyring-daemon --foreground --unlock --components=secrets \
    < <(printf '%s' "$keyring_password")
wait_for 10 "the Secret Service" has_owner --session org.freedesktop.secrets
timings+=", accessibility and keyring $(since "$step_started") ms"
step_started=${EPOCHREALTIME/./}

# A system bus of the run's own, a polkit authority that allows fprintd's verify and enroll, and
# the real fprintd on libfprint's virtual reader with one finger enrolled.
sed "s|@SOCKET@|$E2E_DIR/system-bus/socket|" "$E2E_HARNESS/lib/system-bus.conf" \
    >"$E2E_DIR/system-bus/bus.conf"
start_process system-bus dbus-daemon --config-file="$E2E_DIR/system-bus/bus.conf" --nofork \
    --nopidfile --nosyslog
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$E2E_DIR/system-bus/socket
wait_for 10 "the system bus" has_owner --system org.freedesktop.DBus
start_process polkit "$E2E_PYTHON" -m dbusmock --system --template polkitd
wait_for 10 "the polkit authority" has_owner --system org.freedesktop.PolicyKit1
gdbus call --system --timeout 10 --dest org.freedesktop.PolicyKit1 \
    --object-path /org/freedesktop/PolicyKit1/Authority --method org.freedesktop.DBus.Mock.SetAllowed \
    "['net.reactivated.fprint.device.verify', 'net.reactivated.fprint.device.enroll']" >/dev/null
export FP_VIRTUAL_DEVICE=$E2E_DIR/fingerprint/reader.socket
start_process fprintd env STATE_DIRECTORY="$E2E_DIR/fingerprint/prints" /usr/libexec/fprintd --no-timeout
wait_for 10 "fprintd" has_owner --system net.reactivated.Fprint
reader enroll >>"$E2E_LOG_DIR/enroll.log" 2>&1 ||
    fail "enrolling a finger on the virtual reader failed (see $E2E_LOG_DIR/enroll.log)"
timings+=", system bus, polkit, fprintd and enrolment $(since "$step_started") ms"
step_started=${EPOCHREALTIME/./}

# A status-notifier host, so that a tray icon has somewhere to go.
start_process status-notifier-watcher "$E2E_PYTHON" "$E2E_TOOLS/sni_watcher.py"
wait_for 10 "the status-notifier watcher" has_owner --session org.kde.StatusNotifierWatcher
timings+=", status-notifier watcher $(since "$step_started") ms"

echo "bring-up: $(since "$E2E_STARTED_US") ms ($timings)"

# ── Scenarios ───────────────────────────────────────────────────────────────────────────────────
# A scenario's output goes to its log, and to the console through tail, so that a process the
# scenario leaves behind holding the output open cannot hold up the run.
run_scenario() { # FILE: the scenario's exit status
    local file=$1 name
    name=$(basename "${file%.*}")
    local log_dir=$E2E_LOGS/$name started=${EPOCHREALTIME/./} status=0 command
    mkdir -p "$log_dir"
    case $file in
    *.sh)
        command=(bash -c 'set -euo pipefail
            source "$1"
            trap end_scenario EXIT
            trap "exit 143" TERM
            trap "exit 130" INT
            source "$2"' scenario "$E2E_HARNESS/lib/helpers.sh" "$file")
        ;;
    *.py) command=("$E2E_PYTHON" "$file") ;;
    *) echo "not a scenario (neither .sh nor .py): $file" >&2 && return 2 ;;
    esac
    echo "── $name"
    : >"$log_dir/output.log"
    E2E_LOG_DIR=$log_dir PYTHONPATH=$E2E_TOOLS \
        timeout --kill-after=5 "$E2E_SCENARIO_TIMEOUT" "${command[@]}" </dev/null \
        >>"$log_dir/output.log" 2>&1 &
    scenario_pid=$!
    tail --lines=+1 --sleep-interval=0.1 --follow --pid="$scenario_pid" "$log_dir/output.log"
    wait "$scenario_pid" || status=$?
    scenario_pid=''
    local outcome=passed
    ((status == 0)) || outcome="FAILED (exit $status)"
    ((status != 124)) || outcome="FAILED (timed out after $E2E_SCENARIO_TIMEOUT s)"
    echo "── $name: $outcome in $(since "$started") ms"
    return "$status"
}

passed=0 failed=0
for scenario in "$@"; do
    if run_scenario "$scenario"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
    fi
done

# Every password a scenario defined, looked for in every log and in the private home (where
# kestrelle keeps its files; the keyring there is encrypted). grep -l names files, never lines.
password_count=$(sort -u "$E2E_PASSWORDS" | wc -l)
leaks=$(grep -rlF -D skip -f "$E2E_PASSWORDS" "$E2E_LOGS" "$HOME" || true)
if [[ -z $leaks ]]; then
    echo "ok - none of the $password_count passwords appears in the logs or the home directory"
    passed=$((passed + 1))
else
    echo "FAIL: a password appears in ${leaks//$'\n'/, }" >&2
    failed=$((failed + 1))
fi

echo "$passed passed, $failed failed"
((failed == 0))
