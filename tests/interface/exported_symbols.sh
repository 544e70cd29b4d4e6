#!/bin/bash
# exported_symbols.sh LIBRARY [--update]: the names that the shared library
# exports are those on record, no more and no fewer; callers link against them.
# LIBRARY is libcore.so or, for Windows, the import library of core.dll. With --update,
# the record becomes what libcore.so exports.
#
# Weak names are left out: inline functions and templates, which the compiler
# emits or not as it optimises.
set -euo pipefail
library=$1
record=$(dirname "${BASH_SOURCE[0]}")/exported_symbols.txt

exported() {
    local from=(--dynamic --defined-only)
    local same=()
    if [[ $library == *.a ]]; then
        from=()
        same=(-e 's/long long/long/g')  # 64 bits, as long has them elsewhere
    fi
    nm "${from[@]}" --demangle "$library" |
        awk '$2 ~ /^[TDBR]$/ { sub(/^[^ ]+ [^ ]+ /, ""); print }' |
        sed -e '' "${same[@]}" | LC_ALL=C sort -u
}

if [[ ${2:-} == --update ]]; then
    exported >"$record"
elif ! diff -u --label "on record" --label "exported" "$record" <(exported); then
    echo "If callers may see this change, update the record:"
    echo "  ${BASH_SOURCE[0]} $library --update"
    exit 1
fi
