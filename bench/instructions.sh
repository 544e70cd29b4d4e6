#!/bin/bash
# instructions.sh PROGRAM: instructions that one GetValue, and one suppressed line of
# the log, executes from its first to its return, counted by valgrind's callgrind.
# Exact, so a busy machine does not matter.
set -euo pipefail
program=$1

# count FUNCTION ARG...: instructions inside FUNCTION, and calls in a lap.
count() {
    local log calls
    log=$(mktemp)
    calls=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$log" \
        --toggle-collect="$1" "$program" "${@:2}" | tail -n 1)
    awk -v calls="${calls%% *}" '/ Collected : / { print $NF, calls }' "$log"
    rm -f "$log"
}

# report TITLE GOAL FUNCTION ARG...: the second of two laps alone, as the first one may
# prepare what later ones use. Without a GOAL (-), just the number.
report() {
    { count "${@:3}" 1; count "${@:3}" 2; } |
        awk -v title="$1" -v goal="$2" -v name="$3" '
            NR == 1 { first = $1 }
            NR == 2 {
                perCall = ($1 - first) / $2
                if (perCall <= 0) {
                    print "no call of " name " was seen" > "/dev/stderr"
                    exit 1
                }
                verdict = goal == "-" ? "" : goal (perCall <= goal ? "  ok" : "  MISSED")
                printf "%-30s %13.1f   %s\n", title, perCall, verdict
            }'
}

printf '%-30s %13s   %s\n' '' instructions goal
for curve in Hermite Linear; do
    for order in 'in order' playback random; do
        goal=200
        if [[ $order == random ]]; then
            goal=-
        fi
        for n in 10 1000 10000; do
            title=$(printf '%-8s %-9s %6d' "$curve" "$order" "$n")
            report "$title" "$goal" 'core::KeyframeHandle::GetValue(double, bool)' \
                "$curve" "$order" "$n"
        done
    done
done
for function in CoreLogPrint CoreLogPrintWithSourceInfo CoreLogPrintLog; do
    report "$function" 25 "$function" suppressed
done
