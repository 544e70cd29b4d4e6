#!/bin/bash
# headers_alone.sh COMPILER...: each public header compiles by itself as C++17,
# without a warning, with each of these compilers.
set -euo pipefail
include=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../include" && pwd)

failures=0
for compiler in "$@"; do
    for header in $(cd "$include" && find core -name '*.h' | LC_ALL=C sort); do
        # Twice, so that a missing include guard shows.
        if ! printf '#include <%s>\n#include <%s>\n' "$header" "$header" |
            "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
                -fsyntax-only -I"$include" -x c++ -; then
            echo "$header does not stand alone with $compiler"
            failures=$((failures + 1))
        fi
    done
done
exit $((failures > 0))
