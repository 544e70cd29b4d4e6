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
    if [[ $library == *.a ]]; then
        # Data has no other name there. Types' own data is weak elsewhere, and "long long" has
        # the 64 bits of long.
        nm "$library" | awk '$2 == "I" && sub(/^__imp_/, "", $3) { print $3 }' | c++filt |
            sed -e '/^typeinfo /d' -e '/^vtable /d' -e 's/long long/long/g' -e 's/\([0-9]\)ll\b/\1l/g'
    else
        nm --dynamic --defined-only --demangle "$library" |
            awk '$2 ~ /^[TDBR]$/ { sub(/^[^ ]+ [^ ]+ /, ""); print }'
    fi | LC_ALL=C sort -u
}

if [[ ${2:-} == --update ]]; then
    exported >"$record"
elif ! diff -u --label "on record" --label "exported" "$record" <(exported); then
    echo "If callers may see this change, update the record:"
    echo "  ${BASH_SOURCE[0]} $library --update"
    exit 1
fi
