#!/usr/bin/env python3
"""Who may include whom: each source folder knows the folders below it and no others, the
operating system stays behind platform/, a source includes its own header first, and
core/core.h has every public header.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
MAY_INCLUDE = {
    "platform": "",
    "foundation": "platform",
    "data": "platform foundation",
    "messaging": "platform foundation",
    "logging": "platform foundation data messaging",
    "curve": "foundation data logging",
    "speed": "foundation data logging curve",
}
# Headers of the standard library have no suffix, but for those that C reads too. The
# processor's come with every compiler for it, whatever the system.
STANDARD = {"emmintrin.h", "immintrin.h", "tmmintrin.h", "stdbool.h", "stddef.h", "stdint.h"}
SYSTEM = re.compile(r"^\s*#\s*(?:el)?if.*\b(?:_WIN\w+|__MINGW\w*|__linux__|__unix__|__APPLE__)", re.M)
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.M)


def folder_of(path):
    """ "curve" for "src/core/curve/segment.cpp"; "" for a file beside the folders. """
    match = re.match(r"(?:(?:include|src)/)?core/(\w+)/", path)
    return match[1] if match else ""


def faults_of(path, text):
    folder = folder_of(path)
    if folder != "platform" and path != "include/core/export.h" and SYSTEM.search(text):
        yield "depends on the system outside platform"
    if folder and folder not in MAY_INCLUDE:
        yield "its folder has no place in the layering"
    elif folder:
        for name in INCLUDE.findall(text):
            target = folder_of(name)
            is_ours = name.startswith("core/")
            is_systems = not is_ours and "." in name and name not in STANDARD
            is_above = target not in MAY_INCLUDE[folder].split() + [folder, ""]
            if name == "core/core.h" or (is_systems and folder != "platform") or (is_ours and is_above):
                yield f"may not include {name}"


def main():
    faults = []
    files = {}
    for top in ("include", "src", "tests", "examples", "bench", "tools", "fuzz"):
        for path in sorted((ROOT / top).rglob("*")):
            if path.suffix in (".h", ".cpp", ".inc"):
                files[path.relative_to(ROOT).as_posix()] = path.read_text()
    for path, text in files.items():
        faults += [f"{path}: {fault}" for fault in faults_of(path, text)]
        header = path.removeprefix("src/").removesuffix(".cpp") + ".h"
        if path.startswith("src/core/") and path.endswith(".cpp") and \
                ("src/" + header in files or "include/" + header in files):
            if (INCLUDE.findall(text) + ["nothing"])[0] != header:
                faults.append(f"{path}: {header} is not the first that it includes")
    public = {path.removeprefix("include/") for path in files if path.startswith("include/")}
    for name in public ^ {"core/core.h", *INCLUDE.findall(files["include/core/core.h"])}:
        faults.append(f"include/core/core.h: {name} is missing there or in the folder")

    # The checks above see these faults, and only these.
    for path, text, is_fault in (
        ("src/core/speed/down.cpp", "#include <core/curve/parameter.h>", False),
        ("src/core/curve/standard.cpp", "#include <cmath>", False),
        ("include/core/logging/c.h", "#include <stdint.h>", False),
        ("src/core/platform/posix/system.cpp", "#include <sys/stat.h>\n#ifdef __linux__", False),
        ("include/core/export.h", "#if defined(_WIN32)", False),
        ("tests/comment.cpp", "// not for _WIN32", False),
        ("src/core/curve/up.cpp", "#include <core/speed/speed_parameter.h>", True),
        ("src/core/data/sideways.cpp", "#include <core/messaging/bus.h>", True),
        ("src/core/curve/deep.cpp", '  #  include "core/platform/posix/x.h"', True),
        ("src/core/foundation/system.cpp", "#include <windows.h>", True),
        ("src/core/curve/everything.cpp", "#include <core/core.h>", True),
        ("src/core/misc/unknown.cpp", "", True),
        ("tests/switch.cpp", "#if defined(_WIN32)", True),
    ):
        if is_fault != any(faults_of(path, text)):
            faults.append(f"{path}: this check is broken")
    print("\n".join(faults) or f"{len(files)} files are in order")
    return 1 if faults else 0


sys.exit(main())
