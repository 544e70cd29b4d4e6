#!/bin/bash
# check_packages.sh FOLDER: tries what cpack made there as somebody who installs it.
#
# The Debian packages are installed in a root of their own; the .zip is unpacked.
# From both, check.cmake builds and runs the projects of callers.
set -euo pipefail
folder=$(cd "$1" && pwd)
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
version=$(awk -F'"' '/CORE_VERSION_STRING/ { print $2 }' "$source/include/core/version.h")
major=${version%%.*}
libraries=/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
architecture=$(dpkg --print-architecture)

library=$folder/libcore${major}_${version}_$architecture.deb
development=$folder/libcore-dev_${version}_$architecture.deb
module=$folder/python3-core_${version}_$architecture.deb
symbols=$folder/libcore${major}-dbgsym_${version}_$architecture.ddeb
zip=$folder/core-$version-windows-x86_64.zip

fail() {
    echo "check_packages.sh: $*" >&2
    exit 1
}

# field PACKAGE FIELD TEXT: the control field holds the text.
field() {
    local value
    value=$(dpkg-deb --field "$1" "$2")
    [[ $value == *"$3"* ]] || fail "$(basename "$1"): $2 is '$value', without '$3'"
}

# consumers PREFIX NAME CMAKE-OPTION...
consumers() {
    local prefix=$1 name=$2
    shift 2
    cmake -DPREFIX="$prefix" -DWORK="$work/$name" -DVERSION="$version" -DCONFIG=RelWithDebInfo \
        -DGENERATOR=Ninja "$@" -P "$source/tests/install/check.cmake"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "== Debian packages"
field "$library" Depends libstdc++6
field "$development" Depends "libcore$major (= $version)"
field "$module" Depends "libcore$major (= $version)"
[[ $(dpkg-deb --ctrl-tarfile "$library" | tar -xO ./shlibs) == \
    "libcore $major libcore$major (>= $version)" ]] || fail "wrong shlibs"
dpkg-deb --contents "$symbols" | grep -q '/usr/lib/debug/.*\.debug$' || fail "no debug information"
# Who answers for the packages is for those to say who hand them on, and cpack's scripts call
# ldconfig, which the trigger does too. All else is as Debian has it.
lintian --allow-root --fail-on error,warning \
    --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog,maintscript-calls-ldconfig \
    "$library" "$development" "$module"

# Of what is installed here, the root's dpkg knows what the packages depend on.
root=$work/root
database=$root/var/lib/dpkg
mkdir -p "$database/info" "$database/updates" "$root/var/log"
for package in "$library" "$module"; do
    dpkg-deb --field "$package" Depends | tr ',' '\n'
done | awk '$1 !~ /^libcore/ && !known[$1]++ { print $1 }' | while read -r name; do
    dpkg-query --status "$name" >>"$database/status"
    echo >>"$database/status"
    touch "$database/info/$name:$architecture.list" "$database/info/$name.list"
done
in_root() {
    dpkg --root="$root" --force-not-root,script-chrootless --no-triggers "$@"
}
if in_root --install "$development" >"$work/refused" 2>&1; then
    fail "-dev goes without the library"
fi
in_root --install "$library" "$development" "$module"
consumers "$root/usr" debian -DCOMPILER=g++
"$root/usr/bin/core-inspect" --version | grep -qF "$version" || fail "no core-inspect"

for recipe in "$source"/python/recipes/*.py; do
    (cd "$work" && PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$root/usr/lib/python3/dist-packages \
        LD_LIBRARY_PATH=$root$libraries /usr/bin/python3 "$recipe") |
        diff - "${recipe%.py}.txt" || fail "$recipe prints something else"
done

# gdb loads the printers by itself; it looks for them by the full name of the library.
mkdir -p "$work/gdb$root"
ln -s "$root/usr/share/gdb/auto-load/usr" "$work/gdb$root/usr"
printers=$(env -u DEBUGINFOD_URLS gdb -nx -batch -iex "set auto-load scripts-directory $work/gdb" \
    -iex "add-auto-load-safe-path $work" -ex 'info pretty-printer' \
    "$root$libraries/libcore.so.$version")
[[ $printers == *Keyframe* ]] || fail "gdb loads no printers"

in_root --remove python3-core libcore-dev "libcore$major"
left=$(find "$root/usr" ! -type d 2>/dev/null || true)
[[ -z $left ]] || fail "left behind: $left"

echo "== Windows"
unzip -q "$zip" -d "$work/unzipped"
consumers "$work/unzipped/core-$version-windows-x86_64" windows \
    -DCOMPILER=x86_64-w64-mingw32-g++-posix -DTOOLCHAIN="$source/cmake/mingw-w64.cmake" \
    -DEMULATOR="$source/cmake/run-in-wine"

echo
(cd "$folder" && du -h -- *)
