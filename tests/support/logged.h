#pragma once

#include <core/logging/log.h>
#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace support {

/// The lines that an action writes to the console, as "[Info][tag]text[function][7][file]":
/// without colours, threads, times and line ends.
inline std::vector<std::string> Logged(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    std::istringstream output(testing::internal::GetCapturedStdout());
    static const std::regex kVarying("\x1b\\[[0-9;]*m|\\[\\d+\\]\\[[-0-9]+ [^\\]]*\\]|\\r");
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(std::regex_replace(line, kVarying, ""));
    }
    return lines;
}

/// Keeps the library's reports off the console.
class Quiet {
public:
    Quiet() : sinks(CoreLogGetLogSinkByModule("ZYL")) { CoreLogSetLogSinkByModule("ZYL", 0); }
    ~Quiet() { CoreLogSetLogSinkByModule("ZYL", sinks); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    unsigned sinks;
};

}  // namespace support
