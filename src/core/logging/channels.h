#pragma once

#include <cstddef>

namespace core {

/// Lines on standard output. Its creation prepares the console and writes the
/// version line.
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
