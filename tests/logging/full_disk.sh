#!/bin/bash
# full_disk.sh PROGRAM FOLDER limit|disk: the log goes on when there is room again, and
# says how many lines it lost. Status 77 where the system does not let us fill a disk.
set -euo pipefail
program=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder/logs"

case $3 in
    limit)
        command -v prlimit >/dev/null || exit 77
        # $PPID is the program when its shell expands it.
        (ulimit -S -f 700 && "$program" full "$folder/logs" \
            'prlimit --pid $PPID --fsize=unlimited:')
        ;;
    disk)
        mount -t tmpfs -o size=1m tmpfs "$folder/logs" 2>/dev/null || exit 77
        trap 'umount "$folder/logs"' EXIT
        head -c 300000 /dev/zero >"$folder/logs/filler"
        "$program" full "$folder/logs" \
            "mount -o remount,size=64m '$folder/logs' && rm '$folder/logs/filler'"
        ;;
esac
"$program" check "$folder/logs" | tee "$folder/verdict"
# The case is no case when nothing was lost.
! grep -q ' 0 lines missing' "$folder/verdict"
