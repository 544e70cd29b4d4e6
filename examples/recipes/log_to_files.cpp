// Logs to files in the folder "log": 1 MiB each, of which the last three stay.

#include <core/core.h>

int main() {
    CoreLogSetLogSinkByModule("editor", CORE_LOG_FILE);
    CoreLogSetLogLevelByModule("editor", CORE_LOG_INFO);
    CoreLogSetFilePath("editor", "log", 1 << 20, 3);

    const int frames = 72;
    CoreLogPrintLog("editor", CORE_LOG_INFO, "render", nullptr, nullptr, -1, "%d frames", frames);
    CoreLogPrintLog("editor", CORE_LOG_DEBUG, "render", nullptr, nullptr, -1, "not written");
    CoreLogPrintLog("editor", CORE_LOG_WARN, "render", "main.cpp", "main", 13, "late by %.1f ms",
                    2.5);

    CoreLogShutdown();  // waits until every line is in its file
}
