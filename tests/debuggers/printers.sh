#!/bin/bash
# printers.sh PROGRAM LIBRARY: gdb shows the objects in exhibits.cpp as the comments above
# them say.
set -euo pipefail
program=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

"$here/can_debug.sh" "$2"

# A script that breaks off leaves its exit status to the command behind it.
env -u DEBUGINFOD_URLS gdb -nx -batch -iex 'set width 0' \
    -ex "source $here/../../tools/debuggers/core_printers.py" \
    -ex "source $here/printers.py" -ex "quit 1" "$program"
