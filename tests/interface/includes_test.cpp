// Who may include whom. Each source folder knows the folders below it and no
// others, and the operating system stays behind platform/.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = CORE_SOURCE_DIR;
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"platform", {}},
    {"foundation", {"platform"}},
    {"data", {"platform", "foundation"}},
    {"messaging", {"platform", "foundation"}},
    {"logging", {"platform", "foundation", "data", "messaging"}},
    {"curve", {"foundation", "data", "logging"}},
    {"speed", {"foundation", "data", "logging", "curve"}},
};

/// Path from the repository's root to text.
std::map<std::string, std::string> FilesUnder(const std::vector<const char*>& folders) {
    std::map<std::string, std::string> files;
    for (const char* folder : folders) {
        if (!fs::exists(kRoot / folder)) {
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / folder)) {
            const fs::path extension = entry.path().extension();
            if (extension == ".h" || extension == ".cpp" || extension == ".inc") {
                std::ostringstream text;
                text << std::ifstream(entry.path()).rdbuf();
                files[entry.path().lexically_relative(kRoot).generic_string()] = text.str();
            }
        }
    }
    return files;
}

/// What the groups of the expression match, line by line.
std::vector<std::string> Found(const std::string& text, const char* expression) {
    const std::regex regex(expression);
    std::vector<std::string> found;
    std::istringstream lines(text);
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, match, regex)) {
            found.push_back(match[1]);
        }
    }
    return found;
}

std::vector<std::string> IncludesOf(const std::string& text) {
    return Found(text, R"(^\s*#\s*include\s*[<"]([^>"]+)[>"])");
}

/// "curve" for "src/core/curve/segment.cpp"; empty for a file beside the folders.
std::string FolderOf(const std::string& path) {
    const auto folder = Found(path, R"(^(?:(?:include|src)/)?core/(\w+)/)");
    return folder.empty() ? "" : folder[0];
}

/// What is wrong with a file, a line per fault.
std::string FaultsOf(const std::string& path, const std::string& text) {
    const std::string folder = FolderOf(path);
    std::string faults;
    if (folder != "platform" && path != "include/core/export.h") {
        for (const std::string& name :
             Found(text,
                   R"(^\s*#\s*(?:el)?if.*\b(_WIN\w+|__MINGW\w*|__linux__|__unix__|__APPLE__))")) {
            faults += path + ": depends on " + name + " outside platform\n";
        }
    }
    if (folder.empty()) {
        return faults;
    }
    if (kMayInclude.count(folder) == 0) {
        return faults + path + ": folder has no place in the layering\n";
    }
    // Headers of the standard library have no suffix, but for those that C reads too.
    // The processor's come with every compiler for it, whatever the system.
    const std::set<std::string> standard = {"emmintrin.h", "immintrin.h", "stdbool.h",
                                            "stddef.h",    "stdint.h",    "tmmintrin.h"};
    for (const std::string& name : IncludesOf(text)) {
        const std::string target = FolderOf(name);
        const bool isOurs = name.rfind("core/", 0) == 0;
        const bool isSystems =
            !isOurs && name.find('.') != std::string::npos && standard.count(name) == 0;
        if (name == "core/core.h" || (isSystems && folder != "platform") ||
            (isOurs && !target.empty() && target != folder &&
             kMayInclude.at(folder).count(target) == 0)) {
            faults += path + ": may not include " + name + "\n";
        }
    }
    return faults;
}

TEST(Includes, FollowTheLayersAndLeaveTheSystemToPlatform) {
    const auto files =
        FilesUnder({"include", "src", "tests", "examples", "bench", "tools", "fuzz"});
    ASSERT_LT(50U, files.size()) << "nothing to check under " CORE_SOURCE_DIR;
    for (const auto& [path, text] : files) {
        EXPECT_EQ("", FaultsOf(path, text));
    }
}

TEST(Includes, ASourceIncludesItsOwnHeaderFirst) {
    for (const auto& [path, text] : FilesUnder({"src/core"})) {
        const std::string header =
            fs::path(path.substr(4)).replace_extension(".h").generic_string();
        if (path.find(".cpp") != std::string::npos &&
            (fs::exists(kRoot / "src" / header) || fs::exists(kRoot / "include" / header))) {
            const auto includes = IncludesOf(text);
            EXPECT_EQ(header, includes.empty() ? "nothing" : includes.front()) << path;
        }
    }
}

TEST(Includes, TheUmbrellaHasEveryPublicHeader) {
    auto headers = FilesUnder({"include"});
    std::set<std::string> included = {"core/core.h"};
    for (const std::string& name : IncludesOf(headers["include/core/core.h"])) {
        included.insert(name);
    }
    std::set<std::string> existing;
    for (const auto& [path, text] : headers) {
        existing.insert(path.substr(std::string("include/").size()));
    }
    EXPECT_EQ(existing, included);
}

// The checks above see these faults, and only these.
TEST(Includes, FaultsAreFound) {
    struct Row {
        const char* path;
        const char* text;
        bool isFault;
    };
    const Row rows[] = {
        {"src/core/speed/down.cpp", "#include <core/curve/parameter.h>", false},
        {"src/core/curve/standard.cpp", "#include <cmath>", false},
        {"include/core/logging/c.h", "#include <stdint.h>", false},
        {"src/core/data/vector.h", "#include <emmintrin.h>", false},
        {"src/core/platform/posix/system.cpp", "#include <sys/stat.h>\n#ifdef __linux__", false},
        {"include/core/export.h", "#if defined(_WIN32)", false},
        {"tests/comment.cpp", "// not for _WIN32", false},

        {"src/core/curve/up.cpp", "#include <core/speed/speed_parameter.h>", true},
        {"src/core/data/sideways.cpp", "#include <core/messaging/bus.h>", true},
        {"src/core/curve/deep.cpp", "  #  include \"core/platform/posix/x.h\"", true},
        {"src/core/foundation/system.cpp", "#include <windows.h>", true},
        {"src/core/curve/everything.cpp", "#include <core/core.h>", true},
        {"src/core/misc/unknown.cpp", "", true},
        {"tests/switch.cpp", "#if defined(_WIN32)", true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.isFault, !FaultsOf(row.path, row.text).empty()) << row.path;
    }
}

}  // namespace
