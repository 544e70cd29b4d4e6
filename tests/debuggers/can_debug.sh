#!/bin/bash
# can_debug.sh LIBRARY: 77, with the reason, where gdb could tell nothing about its classes.
set -euo pipefail
if ! command -v gdb >/dev/null; then
    echo "no gdb: what it shows is not looked at"
    exit 77
fi
if ! readelf --section-headers --wide "$1" | grep -q '\.debug_info'; then
    echo "$1 has no debug information: what gdb shows is not looked at"
    exit 77
fi
