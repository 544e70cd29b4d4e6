#!/bin/bash
# fork_process.sh PROGRAM CHECKER FOLDER CHILDREN: forks while threads log; every line of
# every process is in its file.
set -euo pipefail
rm -rf "$3"
mkdir -p "$3"
"$1" "$3" "$4"
"$2" check-each "$3"
rm -rf "$3"
