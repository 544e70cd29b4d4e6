# Runs exhibits.cpp in gdb, and holds what is shown against the comments there.
import os
import re

import gdb

source = os.path.join(os.path.dirname(__file__), "exhibits.cpp")
expected = {}
comment = []
with open(source) as lines:
    for line in lines:
        function = re.match(r"void (\w+)\(\) \{$", line)
        exhibit = re.match(r"    core::\w+&? (\w+)", line)
        if function:
            rows = expected.setdefault(function.group(1), {})
        elif line.startswith("    // "):
            comment.append(line[7:-1])
            continue
        elif exhibit and comment:
            rows[exhibit.group(1)] = " ".join(comment)
        comment = []

gdb.execute("set breakpoint pending off")
gdb.execute("break Look")
try:
    gdb.execute("run", to_string=True)
except gdb.error as error:
    print("gdb may not run programs here, its printers are not tried: %s" % error)
    gdb.execute("quit 77")
looked = failures = 0
while gdb.selected_inferior().pid:
    gdb.execute("up", to_string=True)
    for name, text in expected[gdb.selected_frame().name().split("::")[-1]].items():
        shown = gdb.execute("output " + name, to_string=True)
        looked += 1
        if shown != text:
            failures += 1
            print("%s\n  is shown as %s\n  instead of  %s" % (name, shown, text))
    gdb.execute("continue", to_string=True)

total = sum(len(rows) for rows in expected.values())
print("%d of %d exhibits, %d wrong" % (looked, total, failures))
gdb.execute("quit %d" % (failures > 0 or looked != total or total < 20))
