#!/bin/bash
# bad_output.sh PROGRAM DOCUMENT FOLDER: what core-inspect does when nobody takes what it
# writes, and that a pipe gets no progress.
set -euo pipefail
program=$1
document=$2
folder=$3
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# ends_with STATUS TEXT COMMAND...: the status, and all that goes to standard error.
ends_with() {
    local wanted=$1 text=$2 status=0
    shift 2
    "$@" 2>errors || status=$?
    if [[ $status -ne $wanted || $(<errors) != "$text" ]]; then
        echo "$*: status $status, errors: $(<errors)"
        exit 1
    fi
}
to_full() { "$program" "$@" >/dev/full; }
to_closed() { "$program" "$@" >&-; }

lost="core-inspect: standard output: cannot be written"
for run in to_full to_closed; do
    ends_with 2 "$lost" $run check "$document"
    ends_with 2 "$lost" $run sample "$document" --to 1e12
    ends_with 2 "$lost" $run plot "$document"
    ends_with 2 "$lost" $run convert "$document" -
    ends_with 2 "$lost" $run --help
done
ends_with 2 "core-inspect: /dev/full: cannot be written" "$program" plot "$document" -o /dev/full

# A file stays as it was where there is no room for its successor.
cp "$document" kept
no_room() (
    ulimit -f 0
    trap '' XFSZ
    exec "$program" convert kept kept 2>&1
)
[[ $(no_room) == "core-inspect: kept: can't be written: "* ]]
cmp kept "$document"
[[ ! -e kept.part ]]

{ echo '['; seq 3000000 | sed 's|$|,|'; echo '1]'; } |
    ends_with 0 "" "$program" check - >described
grep -qx 'standard input: other JSON, an array of 3000001 elements' described
{ "$program" sample "$document" --to 1e12 || true; } | head -n 3 >first
[[ $(wc -l <first) -eq 3 ]]
