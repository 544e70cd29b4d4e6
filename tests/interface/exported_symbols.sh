#!/bin/bash
# exported_symbols.sh LIBRARY [--update]: the names that the shared library
# exports are those on record, no more and no fewer; callers link against them.
# With --update, the record becomes what the library exports.
#
# Weak names are left out: inline functions and templates, which the compiler
# emits or not as it optimises.
set -euo pipefail
library=$1
record=$(dirname "${BASH_SOURCE[0]}")/exported_symbols.txt

exported() {
    nm --dynamic --defined-only --demangle "$library" |
        awk '$2 ~ /^[TDBR]$/ { sub(/^[^ ]+ [^ ]+ /, ""); print }' | LC_ALL=C sort -u
}

if [[ ${2:-} == --update ]]; then
    exported >"$record"
elif ! diff -u --label "on record" --label "exported" "$record" <(exported); then
    echo "If callers may see this change, update the record:"
    echo "  ${BASH_SOURCE[0]} $library --update"
    exit 1
fi
