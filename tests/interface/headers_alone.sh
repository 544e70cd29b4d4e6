#!/bin/bash
# headers_alone.sh COMPILER...: each public header compiles by itself as C++17,
# without a warning, with each of these compilers; those for C do so as C99 too.
set -euo pipefail
include=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../include" && pwd)

# compile COMPILER LANGUAGE STANDARD HEADER: twice, so that a missing guard shows.
compile() {
    printf '#include <%s>\n#include <%s>\n%s\n' "$4" "$4" "${use[$4]:-}" |
        "$1" -x "$2" -std="$3" -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
            -fsyntax-only -I"$include" -
}

# Headers for C say so; a use of some that C must understand.
declare -A use=(
    [core/logging/log.h]='int log_it(void);
        int log_it(void) {
            return CoreLogSetFilePath("m", "./", 0, 3) + CoreLogAutoFlush(true) +
                   CoreLogPrintLog("m", CORE_LOG_INFO, "t", NULL, NULL, -1, "%d%%", 1);
        }'
    [core/logging/diagnostics.h]='int32_t left(const void* local);
        int32_t left(const void* local) {
            ZYLCorePrintDependency(L"core.dll");
            return ZYLCoreGetStackRemainedBytes(local, NULL);
        }'
)

failures=0
for compiler in "$@"; do
    for header in $(cd "$include" && find core -name '*.h' | LC_ALL=C sort); do
        c99=${use[$header]:+c99}
        grep -q 'This header is C too' "$include/$header" && c99=c99
        for standard in c++17 $c99; do
            language=${standard%%[0-9]*}
            if ! compile "$compiler" "$language" "$standard" "$header"; then
                echo "$header does not stand alone as $standard with $compiler"
                failures=$((failures + 1))
            fi
        done
    done
done

# What a caller with another language reads.
says() {
    local text=$1 said
    shift
    said=$(printf '#include <core/core.h>\n' | "$@" -fsyntax-only -I"$include" - 2>&1) || true
    [[ $said != *"$text"* ]] || return 0
    echo "no '$text' from $*"
    failures=$((failures + 1))
}
for compiler in "$@"; do
    says "core needs C++17 or later" "$compiler" -x c++ -std=c++14
    says "core/core.h is for C++" "$compiler" -x c
done
exit $((failures > 0))
