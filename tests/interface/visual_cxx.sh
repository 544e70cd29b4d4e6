#!/bin/bash
# visual_cxx.sh: the public headers compile for Visual C++'s target as Clang knows it, and
# its virtual functions have the slots that they have elsewhere. The standard library is
# mingw-w64's, whose classes have other layouts than Visual C++'s; slots do not depend on them.
set -euo pipefail
include=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../include" && pwd)
gcc=x86_64-w64-mingw32-g++-posix
if ! command -v clang++ $gcc >/dev/null || [[ $(command -v clang++ $gcc | wc -l) -ne 2 ]]; then
    echo "no clang++ or no $gcc: slots for Visual C++ are not looked at"
    exit 77
fi
std=$($gcc -print-file-name=include)/c++
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/classes.cpp" <<'CPP'
#include <core/core.h>
struct Speed : core::SpeedParameter { void ClearKeyFrames() override {} };
struct Big : core::BigKeyframe { void ClearKeyFrames() override {} };
struct Loop : core::MessageLoop { void OnLoopStart() override {} };
struct Bus : core::SimpleMsgBus { bool AddMsg(const core::SimpleMessage&) override { return true; } };
struct Rich : core::VersatileMessage { Rich() : VersatileMessage(1) {} };
struct Job : core::Task { void Run() override {} };
struct Worker : core::IWorker {
    void PostTask(core::Task*) override {}
    int GetTaskCount() override { return 0; }
    void StopAndDrain() override {}
    void ThreadLoop() override {}
};
struct Heap : core::JsonDefaultAllocator {};
const void* Make() {
    static const void* const all[] = {new Speed, new Big, new Loop, new Bus, new Rich, new Job, new Worker, new Heap};
    return all;
}
int Overloads(core::Parameter& p) { return p.GetValue().AsInt() + p.GetValue(0.0, true).AsInt(); }
CPP
cat >"$work/mingw.h" <<'H'
#include <_mingw.h>
#undef __MINGW_IMPORT
#define __MINGW_IMPORT extern __declspec(dllimport)
H

# slots CLASS: of the dump on standard input, function by function; a destructor counts once.
slots() {
    sed -nE "/V(FT|t)able for .*'$1'.* \([0-9]+ entries\)/,/^\$/p" |
        sed -nE 's/^ +[0-9]+ \| //p' | grep -vE 'RTTI|offset_to_top|\[complete\]|^ *\[' |
        sed -E 's/ \[.*//; s/^([^(]*)::([^:(]+)\(/\2(/; s/Slot\(/(/; s/^~.*/~/; s/ (pure)$//'
}

clang++ -std=c++17 -I"$include" -c -o /dev/null -Xclang -fdump-vtable-layouts \
    "$work/classes.cpp" >"$work/here.txt"
clang++ --target=x86_64-pc-windows-msvc -fgnuc-version=12 -D__MINGW32__ -D__MINGW64__ \
    -std=c++17 -nostdinc -include "$work/mingw.h" -isystem "$std" -isystem "$std/x86_64-w64-mingw32" \
    -isystem "$(clang++ -print-resource-dir)/include" -isystem /usr/x86_64-w64-mingw32/include \
    -I"$include" -Wall -Wextra -Wpedantic -Werror -Wno-\#warnings -c -o /dev/null \
    -Xclang -fdump-vtable-layouts "$work/classes.cpp" >"$work/there.txt"

for class in Speed Big Loop Bus Rich Job Worker Heap; do
    slots $class <"$work/here.txt" >"$work/here.$class"
    slots $class <"$work/there.txt" >"$work/there.$class"
    [[ -s $work/here.$class ]] || { echo "$class: no slots found"; exit 1; }
    if ! diff -u --label "$class" "$work/here.$class" --label "$class for Visual C++" "$work/there.$class"; then
        failed=1
    fi
done
[[ -z ${failed:-} ]]
