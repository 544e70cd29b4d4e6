#include <core/foundation/file_helpers.h>

#include "core/platform/platform.h"

#include <cstdint>
#include <exception>

namespace core {

bool IsFileExist(const std::string& path) noexcept {
    // Kept on purpose: callers pass such texts. The rules for "file://" and for
    // "file:/" both count from the start of the text, and the second always wins.
    const bool hasScheme = path.find("file:/") != std::string::npos;
    try {
        return platform::Exists(hasScheme ? path.substr(6) : path);
    } catch (const std::exception&) {
        return false;
    }
}

std::string getExecutablePath() {
    std::string path;
    if (platform::ExecutablePath(path) != 0) {
        return {};
    }
    // Without a separator, find answers the whole length.
    return path.substr(0, path.rfind(platform::PathSeparator()));
}

void safe_sleep_ms(int ms) noexcept {
    if (ms > 0) {
        platform::SleepMilliseconds(static_cast<std::uint32_t>(ms));
    }
}

}  // namespace core
