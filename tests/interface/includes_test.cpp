// Who may include whom. Each source folder knows the folders below it and no
// others, and the operating system stays behind platform/.

#include <core/core.h>
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

const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"platform", {}},
    {"foundation", {"platform"}},
    {"data", {"platform", "foundation"}},
    {"messaging", {"platform", "foundation"}},
    {"logging", {"platform", "foundation", "data", "messaging"}},
    {"curve", {"foundation", "data", "logging"}},
    {"speed", {"foundation", "data", "logging", "curve"}},
};

struct SourceFile {
    std::string path;    // from the repository's root: "src/core/curve/segment.cpp"
    std::string folder;  // "curve"; empty for the few files beside the folders
    std::vector<std::string> lines;
};

std::vector<std::string> LinesOf(std::istream& text) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<SourceFile> FilesUnder(const std::vector<std::string>& folders) {
    const fs::path root = CORE_SOURCE_DIR;
    std::vector<SourceFile> files;
    for (const std::string& folder : folders) {
        if (!fs::exists(root / folder)) {
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
            const std::string extension = entry.path().extension().string();
            if (extension != ".h" && extension != ".cpp" && extension != ".inc") {
                continue;
            }
            SourceFile file;
            file.path = entry.path().lexically_relative(root).generic_string();
            std::smatch match;
            if (std::regex_search(file.path, match, std::regex("^(?:include|src)/core/(\\w+)/"))) {
                file.folder = match[1];
            }
            std::ifstream text(entry.path());
            file.lines = LinesOf(text);
            files.push_back(file);
        }
    }
    return files;
}

std::vector<std::string> IncludesOf(const SourceFile& file) {
    static const std::regex kInclude(R"(^\s*#\s*include\s*[<"]([^>"]+)[>"])");
    std::vector<std::string> names;
    for (const std::string& line : file.lines) {
        std::smatch match;
        if (std::regex_search(line, match, kInclude)) {
            names.push_back(match[1]);
        }
    }
    return names;
}

bool IsSystemHeader(const std::string& name) {
    // What the C headers of the standard library are called in headers that C reads too.
    static const std::set<std::string> kOfC = {"stdbool.h", "stddef.h", "stdint.h"};
    const bool hasSuffix = name.find('.') != std::string::npos;
    return name.rfind("core/", 0) != 0 && hasSuffix && kOfC.count(name) == 0;
}

// What is wrong with a file of the library, a line per fault.
std::string FaultsOf(const SourceFile& file) {
    static const std::regex kOurs("^core/(?:(\\w+)/)?\\w+\\.\\w+$");
    std::string faults;
    const auto fault = [&](const std::string& what) { faults += file.path + ": " + what + "\n"; };

    const bool isKnown = kMayInclude.count(file.folder) != 0;
    if (!isKnown && !file.folder.empty()) {
        fault("folder '" + file.folder + "' has no place in the layering");
    }
    for (const std::string& name : IncludesOf(file)) {
        std::smatch match;
        if (name.rfind("core/", 0) == 0) {
            const bool isNamed = std::regex_match(name, match, kOurs);
            const std::string target = isNamed ? match[1].str() : "platform";
            const bool mayInclude = target.empty() || target == file.folder ||
                                    (isKnown && kMayInclude.at(file.folder).count(target) != 0);
            if (isKnown && !mayInclude) {
                fault(file.folder + " may not include " + name);
            }
            if (isKnown && name == "core/core.h") {
                fault("the library's own files name what they use, not core.h");
            }
        } else if (file.folder != "platform" && IsSystemHeader(name)) {
            fault("includes " + name + ": system headers belong in platform");
        }
    }
    return faults;
}

// Conditions on the operating system, which only platform/ and the export switch may hold.
std::string PlatformSwitchesOf(const SourceFile& file) {
    static const std::regex kSwitch(
        R"(^\s*#\s*(if|ifdef|ifndef|elif)\b.*\b(_WIN32|_WIN64|__MINGW\w*|__linux__|__unix__|__APPLE__)\b)");
    if (file.folder == "platform" || file.path == "include/core/export.h") {
        return {};
    }
    std::string faults;
    for (const std::string& line : file.lines) {
        if (std::regex_search(line, kSwitch)) {
            faults += file.path + ": " + line + "\n";
        }
    }
    return faults;
}

SourceFile FileWith(const std::string& path, const std::string& folder, const std::string& text) {
    std::istringstream stream(text);
    return {path, folder, LinesOf(stream)};
}

TEST(Includes, FollowTheLayers) {
    const auto files = FilesUnder({"include/core", "src/core"});
    ASSERT_FALSE(files.empty()) << "nothing to check under " CORE_SOURCE_DIR;
    for (const SourceFile& file : files) {
        EXPECT_EQ("", FaultsOf(file));
    }
}

TEST(Includes, PlatformSwitchesStayInPlatform) {
    for (const SourceFile& file :
         FilesUnder({"include", "src", "tests", "examples", "bench", "tools", "fuzz"})) {
        EXPECT_EQ("", PlatformSwitchesOf(file));
    }
}

TEST(Includes, ASourceIncludesItsOwnHeaderFirst) {
    const fs::path root = CORE_SOURCE_DIR;
    for (const SourceFile& file : FilesUnder({"src/core"})) {
        const fs::path path = file.path;
        const std::string header =
            (path.parent_path().lexically_relative("src") / path.stem()).generic_string() + ".h";
        const bool hasHeader =
            fs::exists(root / "src" / header) || fs::exists(root / "include" / header);
        if (path.extension() == ".cpp" && hasHeader) {
            const auto names = IncludesOf(file);
            EXPECT_EQ(header, names.empty() ? "nothing" : names.front()) << file.path;
        }
    }
}

TEST(Includes, TheUmbrellaHasEveryPublicHeader) {
    std::set<std::string> included = {"core/core.h"};
    std::set<std::string> existing;
    for (const SourceFile& file : FilesUnder({"include/core"})) {
        existing.insert(file.path.substr(std::string("include/").size()));
        if (file.path == "include/core/core.h") {
            const auto names = IncludesOf(file);
            included.insert(names.begin(), names.end());
        }
    }
    EXPECT_EQ(existing, included);
}

// The checks above see these faults, and only these.
TEST(Includes, FaultsAreFound) {
    struct Row {
        const char* name;
        const char* folder;
        const char* text;
        bool isFault;
    };
    const Row rows[] = {
        {"down one", "speed", "#include <core/curve/parameter.h>", false},
        {"down many", "speed", "#include \"core/foundation/report.h\"", false},
        {"own folder", "curve", "#include \"core/curve/segment.h\"", false},
        {"no folder", "curve", "#include <core/export.h>", false},
        {"standard", "curve", "#include <cmath>", false},
        {"standard of C", "logging", "#include <stdint.h>", false},
        {"system in platform", "platform", "#include <sys/stat.h>", false},
        {"up", "curve", "#include <core/speed/speed_parameter.h>", true},
        {"up from the bottom", "foundation", "#include <core/logging/log.h>", true},
        {"sideways", "data", "#include <core/messaging/bus.h>", true},
        {"past its neighbour", "curve", "#include \"core/messaging/worker.h\"", true},
        {"the platform from a curve", "curve", "#include \"core/platform/platform.h\"", true},
        {"deep into the platform", "curve", "  #  include \"core/platform/posix/x.h\"", true},
        {"system elsewhere", "foundation", "#include <windows.h>", true},
        {"everything", "curve", "#include <core/core.h>", true},
        {"unknown folder", "misc", "", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.isFault, !FaultsOf(FileWith("src/core/x", row.folder, row.text)).empty());
    }

    const char* const conditional = "#if defined(_WIN32)";
    EXPECT_NE("", PlatformSwitchesOf(FileWith("tests/a.cpp", "", conditional)));
    EXPECT_EQ("", PlatformSwitchesOf(FileWith("include/core/export.h", "", conditional)));
    EXPECT_EQ("", PlatformSwitchesOf(FileWith("tests/a.cpp", "", "// not for _WIN32")));
}

TEST(Version, TextIsMadeOfTheFourNumbers) {
    const std::string expected =
        std::to_string(CORE_VERSION_MAJOR) + "." + std::to_string(CORE_VERSION_MINOR) + "." +
        std::to_string(CORE_VERSION_PATCH) + "." + std::to_string(CORE_VERSION_BUILD);
    EXPECT_EQ(expected, CORE_VERSION_STRING);
}

}  // namespace
