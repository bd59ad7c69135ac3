# What the demo's chapters are written in: commands that are shown with their answers, and what an answer has to be.
# shellcheck shell=bash

service=com.ozt.nodekeep
limit=30 # seconds that a condition is waited for

title=   # of the step under way
command= # the latest one, and what it answered
answer=
events_seen=0 # lines of the platform's log

device() { device/device "$1" --state "$state" "${@:2}"; }

# steer COMMAND...: the device from outside.
steer() { answer=$(device "$@" 2>&1) || fail "device $1: $answer"; }

step() {
    title=$*
    say "── $title"
}

# fail TEXT: ends the demo with one line.
fail() {
    local line="demo: $title: $1"
    printf '%s\n' "${line//$'\n'/\\n}" >&2
    exit 1
}

show_logs() {
    local log
    for log in "$state"/log/{nodekeep,device}.log; do
        [ ! -s "$log" ] || { echo "The end of the device's $(basename "$log"):" && tail -n 5 "$log"; }
    done
}

# Words as a person would type them.
typed() {
    local word words=()
    for word in "$@"; do
        [[ $word != *[[:space:]]* ]] || word="'$word'"
        words+=("$word")
    done
    printf '%s' "${words[*]}"
}

show_command() {
    command=$(typed "$@")
    printf '%s$ %s%s\n' "$cyan" "$command" "$plain"
}

show_answer() {
    [ -z "$answer" ] || printf '%s\n' "$answer" | sed 's/^/  /'
}

# run COMMAND...: inside the device.
run() {
    local status=0
    show_command "$@"
    answer=$(device exec -- "$@" 2>&1) || status=$?
    show_answer
    [ $status = 0 ] || fail "$command: status $status, and it said '$answer'"
}

# run_until PATTERN COMMAND...: again and again, until the answer matches; only that one is shown.
run_until() {
    local pattern=$1 end=$((SECONDS + limit))
    shift
    show_command "$@"
    # shellcheck disable=SC2053 # a pattern it is
    until answer=$(device exec -- "$@" 2>&1) && [[ $answer == $pattern ]]; do
        [ $SECONDS -lt $end ] || fail "$command: expected '$pattern' within $limit seconds, came '$answer'"
        sleep 0.1
    done
    show_answer
}

# gives [LINE...]: the latest answer is these lines and no other; nothing at all if none is given.
gives() {
    local IFS=$'\n'
    local wanted came line=0 none='no further line'
    [ "$answer" != "$*" ] || return 0
    mapfile -t wanted <<<"$*"
    mapfile -t came <<<"$answer"
    while [ "${wanted[line]-$none}" = "${came[line]-$none}" ]; do
        line=$((line + 1))
    done
    fail "$command: expected '${wanted[line]-$none}', came '${came[line]-$none}'"
}

# gives_like PATTERN: the latest answer as a whole matches.
gives_like() {
    # shellcheck disable=SC2053 # a pattern it is
    [[ $answer == $1 ]] || fail "$command: expected '$1', came '$answer'"
}

gives_other_than() {
    [ "$answer" != "$1" ] || fail "$command: expected anything but '$1', and that came"
}

# event CALL ARGUMENTS: the platform is told so, now or in a moment. Shown with all that it was told before.
event() {
    local wanted="{\"args\":[$2],\"call\":\"$1\"," end=$((SECONDS + limit)) came=none lines line
    while true; do
        lines=$(device exec -- tail -n "+$((events_seen + 1))" /var/log/qmz/platform.jsonl 2>/dev/null) || lines=
        while read -r line; do
            events_seen=$((events_seen + 1))
            printf '%s  event: %s%s\n' "$yellow" "$line" "$plain"
            [[ $line != "$wanted"* ]] || return 0
            [[ $line != *"\"call\":\"$1\""* ]] || came=$line
        done < <(printf '%s' "${lines:+$lines$'\n'}")
        [ $SECONDS -lt $end ] || fail "expected the event $1 with [$2] within $limit seconds, came $came"
        sleep 0.1
    done
}

# wait_for WHAT COMMAND...: until the command, on this side, succeeds.
wait_for() {
    local what=$1 end=$((SECONDS + limit))
    shift
    until "$@" 2>/dev/null; do
        [ $SECONDS -lt $end ] || fail "expected $what within $limit seconds, came none"
        sleep 0.1
    done
}

call() { run busctl call "$service" "$@"; }
get() { run busctl get-property "$service" "$@"; }
get_until() { run_until "$1" busctl get-property "$service" "${@:2}"; }
put() {
    run busctl set-property "$service" "$@"
    gives
}
