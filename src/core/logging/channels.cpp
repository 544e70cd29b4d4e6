#include "core/logging/channels.h"

#include "core/platform/platform.h"

#include <core/version.h>

#include <string>

namespace core {

BsConsoleChannel::BsConsoleChannel() {
    platform::PrepareConsole();
    platform::WriteToStandardOutput("zyl_version:" CORE_VERSION_STRING "\n");
}

void BsConsoleChannel::WriteLine(int /*level*/, const char* text, std::size_t length) {
    std::string line;
    line.reserve(length + 1);
    line.append(text, length).push_back('\n');
    platform::WriteToStandardOutput(line);
}

void BsMSVCChannel::WriteLine(int /*level*/, const char* text, std::size_t /*length*/) {
    // Kept on purpose: debuggers' filters are set up for the line and its end apart.
    platform::WriteToDebugger(text);
    platform::WriteToDebugger("\n");
}

}  // namespace core
