#!/bin/bash
# instructions.sh PROGRAM: instructions that one GetValue executes, from its first
# to its return, counted by valgrind's callgrind. Exact, so a busy machine does not
# matter.
set -euo pipefail
program=$1
goal=200

# count CURVE ORDER N LAPS: instructions inside GetValue, and samples in a lap.
count() {
    local log samples
    log=$(mktemp)
    samples=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$log" \
        --toggle-collect='core::KeyframeHandle::GetValue(double, bool)' "$program" "$@")
    awk -v samples="${samples%% *}" '/ Collected : / { print $NF, samples }' "$log"
    rm -f "$log"
}

printf '%-8s %-9s %6s %13s %5s\n' curve times n instructions goal
for curve in Hermite Linear; do
    for order in 'in order' playback random; do
        for n in 10 1000 10000; do
            # The second lap alone: the first one may prepare what later ones use.
            { count "$curve" "$order" "$n" 1; count "$curve" "$order" "$n" 2; } |
                awk -v curve="$curve" -v order="$order" -v n="$n" -v goal=$goal '
                    NR == 1 { first = $1 }
                    NR == 2 {
                        perCall = ($1 - first) / $2
                        if (perCall <= 0) {
                            print "no call of GetValue was seen" > "/dev/stderr"
                            exit 1
                        }
                        verdict = order == "random" ? "" : goal (perCall <= goal ? "  ok" : "  MISSED")
                        printf "%-8s %-9s %6d %13.1f   %s\n", curve, order, n, perCall, verdict
                    }'
        done
    done
done
