// A program whose standard output belongs to its answers.

#include <core/core.h>

#include <cstdio>

int main() {
    // First of all, so that not even the version line goes to standard output.
    CoreLogSetConsole(CORE_LOG_STANDARD_ERROR, CORE_LOG_TERMINALS_COLOURED);

    CoreLogPrintLog("lister", CORE_LOG_ERROR, "clip", nullptr, nullptr, -1, "no clip %d", 7);
    std::printf("{\"clips\": 6}\n");
}
