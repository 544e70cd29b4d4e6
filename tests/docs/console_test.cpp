// What the guide shows of core-inspect at work is what it writes.

#include "inspect/program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = CORE_SOURCE_DIR;
const std::string kPrompt = "$ core-inspect ";

std::string Answer(const std::string& command) {
    std::istringstream words(command);
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) {
        arguments.push_back(word);
    }
    std::istringstream in;
    std::ostringstream written;
    inspect::Run(arguments, inspect::Console{in, written, written});
    return written.str();
}

TEST(Guide, ShowsWhatCoreInspectWrites) {
    std::string shown;
    std::string written;
    bool isInside = false;
    std::ifstream page(kRoot / "docs/documents.md");
    fs::current_path(kRoot);
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("```", 0) == 0) {
            isInside = line == "```console";
        } else if (isInside) {
            shown += line + '\n';
            if (line.rfind(kPrompt, 0) == 0) {
                written += line + '\n' + Answer(line.substr(kPrompt.size()));
            }
        }
    }
    EXPECT_NE(written, "");
    EXPECT_EQ(shown, written);
}

}  // namespace
