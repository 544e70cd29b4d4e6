#!/bin/bash
# page.sh PROGRAM ROOT PAGE FOLDER: runs the commands of a page's console blocks in FOLDER,
# which has the examples of ROOT, and holds what they print against what the page shows,
# and the pictures that they make against docs/pictures.
# page.sh --update PROGRAM ROOT PAGE FOLDER: keeps both instead.
set -euo pipefail
update=
if [[ $1 == --update ]]; then
    update=yes
    shift
fi
program=$1
root=$2
page=$2/$3
folder=$4
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
ln -s "$root/examples" "$root/docs" .
core-inspect() { "$program" "$@"; }

run_page() {
    local line in_block= shown=yes
    while IFS= read -r line; do
        case $line in
            '```console') in_block=yes ;;
            '```') in_block= shown=yes ;;
        esac
        if [[ -n $in_block && $line == '$ '* ]]; then
            printf '%s\n' "$line"
            eval "${line#??}" 2>&1 || true
            shown=
        elif [[ -z $in_block || -n $shown || $line == '```console' ]]; then
            printf '%s\n' "$line"
        fi
    done <"$page"
}
run_page >page
if [[ -n $update ]]; then
    cp page "$page"
    cp ./*.svg "$root/docs/pictures"
    exit
fi
diff -u "$page" page
for picture in *.svg; do
    cmp "$picture" "$root/docs/pictures/$picture"
done
