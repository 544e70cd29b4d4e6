#pragma once

#include <cstddef>
#include <string>

namespace core {

/// Lines on standard output. Its creation prepares the console and writes the
/// version line.
class BsConsoleChannel {
public:
    explicit BsConsoleChannel(std::string channelName);
    BsConsoleChannel(const BsConsoleChannel&) = delete;
    BsConsoleChannel& operator=(const BsConsoleChannel&) = delete;
    virtual ~BsConsoleChannel() = default;

    /// `text` ends with a zero byte, at `length` or before.
    virtual void WriteLine(int level, const char* text, std::size_t length);

protected:
    const std::string name;
};

/// Lines in the debugger's output.
class BsMSVCChannel final : public BsConsoleChannel {
public:
    BsMSVCChannel();
    void WriteLine(int level, const char* text, std::size_t length) override;
};

}  // namespace core
