// Logs from C++ code: what is suppressed costs next to nothing, and what comes often comes
// seldom. A sink of the program's own prints the lines.

#include <core/core.h>

#include <cstdio>

namespace {

const char* const kModule = "render";

void Draw(int frame, double ms) {
    CORE_LOG(kModule, CORE_LOG_DEBUG, "frame", "%d drawn in %.1f ms", frame, ms);
    CORE_LOG_ONCE(kModule, CORE_LOG_WARN, "gpu", "no profile for %s", "display 2");
    CORE_LOG_EVERY(3, kModule, CORE_LOG_WARN, "frame", "frame %d is late", frame);
#if defined(CORE_LOG_TEXT)  // C++20: braces, held against the values by the compiler
    CORE_LOG_TEXT(kModule, CORE_LOG_INFO, "frame", "{} drawn in {:.1f} ms", frame, ms);
#else
    CORE_LOG(kModule, CORE_LOG_INFO, "frame", "%d drawn in %.1f ms", frame, ms);
#endif
}

}  // namespace

int main() {
    CoreLogSetLogSinkByModule(kModule, 0);
    CoreLogSetLogLevelByModule(kModule, CORE_LOG_INFO);
    const auto print = [](void*, const CoreLogLine* line) { std::puts(line->text); };
    const int sink = CoreLogAddSink(print, nullptr, CORE_LOG_INFO, "%s [%t] %m");

    for (int frame = 1; frame <= 4; ++frame) {
        Draw(frame, 16.0 + frame);
    }
    CoreLogRemoveSink(sink);
}
