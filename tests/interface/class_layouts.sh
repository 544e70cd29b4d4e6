#!/bin/bash
# class_layouts.sh OBJECT [--update]: the classes of the public headers are laid out
# as on record, on every platform; callers are compiled with their sizes, offsets and
# slots. OBJECT is class_layouts.cpp, compiled. With --update, the record becomes what
# the headers say now.
set -euo pipefail
object=$1
here=$(dirname "${BASH_SOURCE[0]}")
record=$here/class_layouts.txt

if ! command -v gdb >/dev/null; then
    echo "no gdb: class layouts are not looked at"
    exit 77
fi

layouts() {
    env -u DEBUGINFOD_URLS gdb -nx -batch -iex 'set width 0' -iex 'set language c++' \
        -x "$here/class_layouts.py" "$object"
}

if [[ ${2:-} == --update ]]; then
    layouts >"$record"
elif ! diff -u -F '^[a-zA-Z]' --label "on record" --label "as compiled" "$record" <(layouts); then
    echo "Programs that were compiled with the old layouts break. If there are none, update the record:"
    echo "  ${BASH_SOURCE[0]} $object --update"
    exit 1
fi
