#include "core/platform/platform.h"

#include <unistd.h>
#include <cstdio>

namespace core::platform {

void PrepareConsole(StandardStream /*stream*/) noexcept {
    // Terminals take UTF-8 and escape sequences as they are.
}

bool IsTerminal(StandardStream stream) noexcept {
    return isatty(stream == StandardStream::Error ? STDERR_FILENO : STDOUT_FILENO) != 0;
}

void WriteToStandardOutput(std::string_view text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void WriteToStandardError(std::string_view text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void WriteToStandardErrorAtOnce(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void WriteToDebugger(const char* text) noexcept {
    std::fputs(text, stderr);
}

}  // namespace core::platform
