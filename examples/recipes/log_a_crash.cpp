// Keeps the log through a crash. What handled crashes before still runs: here a function that
// shows what is in the file then.

#include <core/core.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void ShowLog(int /*signal*/) {
    for (const auto& entry : std::filesystem::directory_iterator("crash-log")) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);) {
            const std::string message = line.substr(line.rfind("][") + 1);
            std::printf("%s\n", message.substr(0, message.find(", in")).c_str());
        }
    }
    std::fflush(stdout);
    std::_Exit(0);
}

}  // namespace

int main() {
    std::filesystem::remove_all("crash-log");
    CoreLogSetLogSinkByModule("editor", CORE_LOG_FILE);
    CoreLogSetLogLevelByModule("editor", CORE_LOG_INFO);
    CoreLogSetFilePath("editor", "crash-log", 1 << 20, 3);

    std::signal(SIGABRT, ShowLog);  // there first
    CoreLogHandleCrashes(true);

    CoreLogPrintLog("editor", CORE_LOG_INFO, "render", nullptr, nullptr, -1, "on its way");
    std::abort();
}
