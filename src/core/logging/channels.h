#pragma once

#include "core/logging/line_format.h"

#include <core/logging/log_console.h>

#include <cstddef>

namespace core {

/// What all console channels are from now on. Whether there is a terminal is asked now.
void ChooseConsole(CoreLogConsole console, CoreLogColours colours) noexcept;
/// Whether the console's lines have colours.
Colour ConsoleColour() noexcept;

/// Lines on the chosen console, which is standard output by default. Its creation prepares
/// the console and writes the version line.
class BsConsoleChannel {
public:
    BsConsoleChannel();
    BsConsoleChannel(const BsConsoleChannel&) = delete;
    BsConsoleChannel& operator=(const BsConsoleChannel&) = delete;
    virtual ~BsConsoleChannel() = default;

    /// `text` ends with a zero byte, at `length` or before.
    virtual void WriteLine(int level, const char* text, std::size_t length);
};

/// Lines in the debugger's output.
class BsMSVCChannel final : public BsConsoleChannel {
public:
    void WriteLine(int level, const char* text, std::size_t length) override;
};

}  // namespace core
