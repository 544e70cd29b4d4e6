#!/bin/bash
# subproject.sh ROOT FOLDER COMPILER VERSION: the sources as a part of another build, by
# add_subdirectory and by FetchContent, and the static library, built, installed and linked.
# Also: the recipes in packaging/ are of this version.
set -euo pipefail
root=$1
folder=$2
compiler=$3
version=$4
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# configured NAME TYPE CMAKE-OPTION...
configured() {
    local name=$1 type=$2
    shift 2
    cmake -G Ninja -S "$here/subproject" -B "$name" -DCORE="$root" -DCMAKE_CXX_COMPILER="$compiler" \
        "$@" >"$name.log"
    grep -qx -- "-- core is a $type" "$name.log" || { echo "$name: no $type"; exit 1; }
}
configured subdirectory SHARED_LIBRARY
configured fetched STATIC_LIBRARY -DFETCHES=ON -DBUILD_SHARED_LIBS=OFF
cmake --build fetched --target subproject >build.log || { tail -30 build.log; exit 1; }
fetched/subproject

# Installed, as find_package and pkg-config give it.
cmake --install fetched --prefix "$folder/static" >/dev/null
cp -r "$here/consumer" consumer
cmake -G Ninja -S consumer -B consumer/build -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$folder/static" >consumer.log
cmake --build consumer/build >>consumer.log || { tail -30 consumer.log; exit 1; }
consumer/build/consumer17
PKG_CONFIG_PATH=$(dirname "$(find static -name core.pc)")
export PKG_CONFIG_PATH
read -ra flags <<<"$(pkg-config --cflags --libs core)"
"$compiler" -std=c++17 consumer/main.cpp -o linked "${flags[@]}"
./linked

for recipe in conan/conanfile.py vcpkg/core/vcpkg.json; do
    grep -qF "\"$version\"" "$root/packaging/$recipe" || { echo "$recipe: not $version"; exit 1; }
done
python3 -c 'import ast, json, sys
ast.parse(open(sys.argv[1]).read())
json.load(open(sys.argv[2]))' "$root/packaging/conan/conanfile.py" "$root/packaging/vcpkg/core/vcpkg.json"
