#include "core/logging/channels.h"

#include "core/platform/platform.h"

#include <core/version.h>

#include <atomic>
#include <cstdlib>
#include <string>

namespace core {
namespace {

using platform::StandardStream;

std::atomic<CoreLogConsole> chosenConsole{CORE_LOG_STANDARD_OUTPUT};
std::atomic<bool> isColoured{true};

bool AsksForNoColour() noexcept {
    // Safe but where the environment changes meanwhile. NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* const wish = std::getenv("NO_COLOR");
    return wish != nullptr && *wish != '\0';
}

void WriteToConsole(std::string_view text) noexcept {
    switch (chosenConsole.load(std::memory_order_relaxed)) {
        case CORE_LOG_STANDARD_OUTPUT:
            platform::WriteToStandardOutput(text);
            break;
        case CORE_LOG_STANDARD_ERROR:
            platform::WriteToStandardError(text);
            break;
        case CORE_LOG_NO_CONSOLE:
            break;
    }
}

}  // namespace

void ChooseConsole(CoreLogConsole console, CoreLogColours colours) noexcept {
    const StandardStream stream =
        console == CORE_LOG_STANDARD_ERROR ? StandardStream::Error : StandardStream::Output;
    if (console == CORE_LOG_STANDARD_ERROR) {
        platform::PrepareConsole(stream);  // the other one is prepared by its channels
    }
    isColoured =
        colours == CORE_LOG_ALL_COLOURED || (colours == CORE_LOG_TERMINALS_COLOURED &&
                                             platform::IsTerminal(stream) && !AsksForNoColour());
    chosenConsole = console;
}

Colour ConsoleColour() noexcept {
    return isColoured.load(std::memory_order_relaxed) ? Colour::Yes : Colour::No;
}

BsConsoleChannel::BsConsoleChannel() {
    if (chosenConsole == CORE_LOG_STANDARD_OUTPUT) {
        platform::PrepareConsole(StandardStream::Output);
    }
    WriteToConsole("zyl_version:" CORE_VERSION_STRING "\n");
}

void BsConsoleChannel::WriteLine(int /*level*/, const char* text, std::size_t length) {
    std::string line;
    line.reserve(length + 1);
    line.append(text, length).push_back('\n');
    WriteToConsole(line);
}

void BsMSVCChannel::WriteLine(int /*level*/, const char* text, std::size_t /*length*/) {
    // Kept on purpose: debuggers' filters are set up for the line and its end apart.
    platform::WriteToDebugger(text);
    platform::WriteToDebugger("\n");
}

}  // namespace core
