#!/bin/bash
# message_instructions.sh PROGRAM: instructions of a message added and got, and of an
# event posted and heard, on all threads, counted by valgrind's callgrind. Exact, but
# for the few of a thread that waits.
set -euo pipefail
program=$1
messageGoal=260
eventGoal=0.1

# count WHAT LISTENERS TIMES: instructions of the whole program.
count() {
    local log
    log=$(mktemp)
    valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$log" \
        "$program" "$@" >/dev/null
    awk '/ Collected : / { print $NF }' "$log"
    rm -f "$log"
}

# each WHAT LISTENERS: of one item, the start and the end of the program apart.
each() {
    local few=2000 many=4000
    echo $((($(count "$1" "$2" $many) - $(count "$1" "$2" $few)) / (many - few)))
}

message=$(each messages 0)
printf '%-28s %6d   goal %d  %s\n' 'message added and got' "$message" $messageGoal \
    "$( ((message <= messageGoal)) && echo ok || echo MISSED)"
printf '%-9s %9s %9s %9s %6s %6s\n' listeners EventBus Async Signals2 ratio async
for listeners in 1 10 100; do
    printf '%s %s %s %s\n' "$listeners" "$(each events "$listeners")" \
        "$(each async "$listeners")" "$(each signals2 "$listeners")" |
        awk -v goal=$eventGoal '{
            verdict = $1 < 100 ? "" : "  goal " goal ($2 <= goal * $4 && $3 <= goal * $4 ? "  ok" : "  MISSED")
            printf "%9d %9d %9d %9d %6.3f %6.3f%s\n", $1, $2, $3, $4, $2 / $4, $3 / $4, verdict
        }'
done
