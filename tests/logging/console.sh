#!/bin/bash
# console.sh PROGRAM FOLDER: lines have colours on a terminal, unless the user wants none.
# Status 77 where no terminal can be had.
set -euo pipefail
program=$1
folder=$2
script -qec true /dev/null </dev/null >/dev/null 2>&1 || exit 77
mkdir -p "$folder"
rm -rf "$folder"/*

# try WANTED CONSOLE COLOURS REDIRECTION [VARIABLE=VALUE]: how many of the thousand lines on
# the terminal, and in the file that one of the streams goes to, are coloured. The others are
# not, nor are those for the debugger.
try() {
    rm -rf "$folder"/logs "$folder"/other
    env -u NO_COLOR ${5:+"$5"} script -qec "'$program' console '$folder/logs' $2 $3 $4'$folder/other'" \
        "$folder/terminal" </dev/null >/dev/null
    local found
    found=$(cat "$folder/terminal" "$folder/other" | grep -c $'\x1b\\[92mInfo\x1b\\[m' || true)
    local plain
    plain=$(cat "$folder/terminal" "$folder/other" | grep -c '^\[Info\]\[' || true)
    if [[ $found != "$1" || $plain != $((2000 - $1)) ]]; then
        echo "$*: $found coloured lines, $plain without colours"
        exit 1
    fi
}

# Standard output: the terminal, and then a file.
try 1000 0 2 '2>'
try 1000 0 2 '2>' NO_COLOR=
try 0 0 2 '2>' NO_COLOR=1
try 0 0 1 '2>'
try 1000 0 0 '2>' NO_COLOR=1
try 0 0 2 '>'
try 1000 0 0 '>'
# Standard error.
try 1000 1 2 '>'
try 0 1 2 '>' NO_COLOR=yes
try 0 1 2 '2>'
