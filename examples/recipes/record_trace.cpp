// Records what a program does and how long it takes, as a JSON file.

#include <core/core.h>

#include <cstdio>
#include <fstream>
#include <iostream>

int main() {
    if (InitPrefTraceFile("trace.json") != 0) {
        return 1;
    }
    core::TraceEvent("open", {{"clip", "intro.mov"}, {"seconds", 0.25}, {"tracks", 3}});
    for (const double ms : {16.0, 20.0, 18.0}) {
        core::TraceStatistic("frame", "ms", ms, {{"device", "screen"}});
    }
    FlushPrefTraceFile();

    std::cout << std::ifstream("trace.json").rdbuf() << '\n';
}
