#!/bin/bash
# natvis.sh LIBRARY: what core.natvis says of the library's classes is true.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
"$here/can_debug.sh" "$1"
# A script that breaks off leaves its exit status to the command behind it.
env -u DEBUGINFOD_URLS gdb -nx -batch -iex 'set language c++' \
    -ex "source $here/natvis.py" -ex "quit 1" "$1"
