// Shows lines where the program wants them, and, once something fails, what came before.

#include <core/core.h>

#include <cstdio>
#include <string>

namespace {

// It may be called on several threads at once.
void Show(void* window, const CoreLogLine* line) {
    std::printf("%s: %s %s\n", static_cast<const char*>(window), line->levelName, line->message);
}

}  // namespace

int main() {
    CoreLogSetLogSinkByModule("editor", 0);
    char window[] = "console";
    const int sink = CoreLogAddSink(Show, window, CORE_LOG_WARN, nullptr);

    // The last 100 lines of all levels, those too that nobody writes.
    CoreLogKeepRecent(100, CORE_LOG_OFF);
    CoreLogPrintLog("editor", CORE_LOG_DEBUG, "open", nullptr, nullptr, -1, "intro.mov");
    CoreLogPrintLog("editor", CORE_LOG_ERROR, "open", nullptr, nullptr, -1, "no video track");

    CoreLogRemoveSink(sink);  // nobody is in it any more
    const int all = CoreLogAddSink(
        [](void*, const CoreLogLine* line) {
            const std::string message = line->message;  // "recent [TIME][MODULE]TEXT"
            std::printf("%s\n", message.substr(message.find("][") + 1).c_str());
        },
        nullptr, CORE_LOG_VERBOSE, nullptr);
    CoreLogDumpRecent("editor");
    CoreLogRemoveSink(all);
}
