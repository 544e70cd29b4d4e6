#!/bin/bash
# types.sh PYTHON SOURCE CACHE: the stubs agree with the module, the recipes with the stubs.
set -euo pipefail
python=$1 source=$2 cache=$3
"$python" -c 'import mypy' 2>/dev/null || { echo "no mypy"; exit 77; }
export MYPY_CACHE_DIR=$cache
"$python" -m mypy --strict "$source"/recipes/*.py
"$python" -m mypy.stubtest --allowlist "$source/tests/types_allowed.txt" core
