// Writes lines for log collectors: one JSON object each, with fields.

#include <core/core.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

int main() {
    std::filesystem::remove_all("json-log");
    CoreLogSetForm(CORE_LOG_JSON);
    CoreLogSetLogSinkByModule("render", CORE_LOG_FILE);
    CoreLogSetLogLevelByModule("render", CORE_LOG_INFO);
    CoreLogSetFilePath("render", "json-log", 1 << 20, 3);

    core::PrintLogFields("render", CORE_LOG_INFO, "frame",
                         {{"frame", 12}, {"ms", 16.6}, {"clip", "intro.mov"}}, "drawn by %s",
                         "display 2");
    CoreLogShutdown();

    for (const auto& entry : std::filesystem::directory_iterator("json-log")) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);) {
            core::JsonDoc doc;
            if (!core::ParseJson(line.c_str(), doc.Root())) {
                return 1;
            }
            const std::string level = core::ValueByPointerOr(doc.Root(), "/level", "");
            const std::string message = core::ValueByPointerOr(doc.Root(), "/message", "");
            const double ms = core::ValueByPointerOr(doc.Root(), "/fields/ms", 0.0);
            std::printf("%s: %s, %.1f ms\n", level.c_str(), message.c_str(), ms);
        }
    }
}
