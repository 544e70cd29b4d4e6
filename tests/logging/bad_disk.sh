#!/bin/bash
# bad_disk.sh PROGRAM FOLDER limit|flush|disk: the log goes on when there is room again, at
# once where it is flushed, and says how many lines it lost.
# bad_disk.sh PROGRAM FOLDER stuck: where there is no room again, standard error says it.
# bad_disk.sh PROGRAM FOLDER readonly: a module whose folder can't be written takes no
# line from another one.
# bad_disk.sh PROGRAM FOLDER closed|broken: a console that takes nothing takes no line
# from the files.
# Status 77 where the system does not let us fill a disk or mount one.
set -euo pipefail
program=$1
folder=$2
what=$3
mounted=
trap '[[ -z $mounted ]] || umount "$mounted"' EXIT

# try_it: has the program log, and looks at the files; its verdict is in $folder/verdict.
try_it() {
    rm -rf "$folder"
    mkdir -p "$folder/logs"
    case $what in
        limit | flush)
            command -v prlimit >/dev/null || exit 77
            # $PPID is the program when its shell expands it.
            (ulimit -S -f 700 && "$program" "${what/limit/full}" "$folder/logs" \
                'prlimit --pid $PPID --fsize=unlimited:')
            ;;
        stuck)
            (ulimit -S -f 700 && "$program" stuck "$folder/logs" 2>"$folder/errors")
            "$program" check "$folder/logs" >"$folder/verdict" || true
            lost=$(sed -n 's/^core: \([0-9]*\) lines lost: .*/\1/p' "$folder/errors")
            grep " ${lost:-no} lines missing" "$folder/verdict" || exit 1
            exit 0
            ;;
        disk)
            mount -t tmpfs -o size=1m tmpfs "$folder/logs" 2>/dev/null || exit 77
            mounted=$folder/logs
            head -c 300000 /dev/zero >"$folder/logs/filler"
            "$program" full "$folder/logs" \
                "mount -o remount,size=64m '$folder/logs' && rm '$folder/logs/filler'"
            ;;
        closed)
            "$program" console "$folder/logs" >&- 2>/dev/null
            "$program" check "$folder/logs"
            rm "$folder"/logs/*
            "$program" console "$folder/logs" <&- >&- 2>&-
            ;;
        broken)
            [[ -w /dev/full ]] || exit 77
            "$program" console "$folder/logs" >/dev/full 2>/dev/full
            "$program" check "$folder/logs"
            rm "$folder"/logs/*
            # A process that ignores this signal learns from its writes that nobody reads.
            (trap '' PIPE && "$program" console "$folder/logs" 2>&1) | true
            ;;
        readonly)
            mkdir -m 555 "$folder/logs/blocked"
            if [[ -w $folder/logs/blocked ]]; then
                mount -t tmpfs -o ro tmpfs "$folder/logs/blocked" 2>/dev/null || exit 77
                mounted=$folder/logs/blocked
            fi
            # What finds no folder goes where the program stands.
            (cd "$folder" && "$program" beside "$folder/logs" "$folder/logs/blocked")
            ;;
    esac
    "$program" check "$folder/logs" | tee "$folder/verdict"
    if [[ -n $mounted ]]; then
        umount "$mounted"
        mounted=
    fi
}

# A full disk is no case when nothing was lost: on a busy machine, room may have been
# made before the log met its end.
for attempt in 1 2 3 4 5; do
    try_it
    if [[ ! $what =~ limit|flush|disk ]] || ! grep -q ' 0 lines missing' "$folder/verdict"; then
        [[ $what != flush ]] || grep -q '|40999|' "$folder"/logs/*.log
        exit 0
    fi
    echo "nothing was lost in attempt $attempt"
done
exit 1
