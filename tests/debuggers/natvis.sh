#!/bin/bash
# natvis.sh LIBRARY: what core.natvis says of the library's classes is true.
set -euo pipefail
if ! command -v gdb >/dev/null; then
    echo "no gdb: core.natvis is not looked at"
    exit 77
fi
# A script that breaks off leaves its exit status to the command behind it.
env -u DEBUGINFOD_URLS gdb -nx -batch -iex 'set language c++' \
    -ex "source $(dirname "${BASH_SOURCE[0]}")/natvis.py" -ex "quit 1" "$1"
