#!/bin/bash
# gate.sh PROGRAM [--update]: no job of PROGRAM, core_bench_gate, takes over 5 % more
# instructions an item than on record in gate.txt. With --update, the record becomes what
# is counted now. Counts are those of Debian 12's compiler and C library.
set -euo pipefail
program=$1
record=$(dirname "${BASH_SOURCE[0]}")/gate.txt
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# count JOB LAPS: instructions of a whole run.
count() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$scratch/$3" \
        "$program" "$1" "$2" >/dev/null
    sed -n 's/.*Collected : //p' "$scratch/$3"
}

# Of the second lap alone: the first one prepares what later ones use.
per_item() {
    local job=$1 one two
    count "$job" 1 one >"$scratch/count1" &
    two=$(count "$job" 2 two)
    wait $!
    one=$(cat "$scratch/count1")
    echo $(((two - one) / 2000))
}

failed=0
printf '%-28s%10s%10s%8s\n' job record now ratio
while read -r job limit; do
    now=$(per_item "$job")
    ratio=$(awk -v now="$now" -v record="$limit" 'BEGIN { printf "%.3f", now / record }')
    verdict=
    if awk -v ratio="$ratio" 'BEGIN { exit !(ratio > 1.05) }'; then
        verdict=SLOWER
        failed=1
    elif awk -v ratio="$ratio" 'BEGIN { exit !(ratio < 0.95) }'; then
        verdict='faster: update the record'
    fi
    printf '%-28s%10d%10d%8s %s\n' "$job" "$limit" "$now" "$ratio" "$verdict"
    printf '%-28s%8d\n' "$job" "$now" >>"$scratch/record"
done <"$record"

if [[ ${2:-} == --update ]]; then
    cp "$scratch/record" "$record"
    exit 0
fi
if [[ $failed -ne 0 ]]; then
    echo "If it is worth it, update the record: ${BASH_SOURCE[0]} $program --update"
fi
exit "$failed"
