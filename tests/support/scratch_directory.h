#pragma once

// A directory for one test, with a name that no code page has: removed, with all
// that is in it, at the end.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace support {

/// A path of the standard library from UTF-8, and back.
inline std::filesystem::path PathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}
inline std::string Utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

class ScratchDirectory {
public:
    ScratchDirectory() {
        // Nobody else's, whatever runs beside this process: creating says whether it is new.
        std::random_device random;
        do {
            const std::string name =
                "core \u0144 \U0001F40C " + std::to_string(random()) + std::to_string(random());
            directory = std::filesystem::temp_directory_path() / PathOf(name);
        } while (!std::filesystem::create_directory(directory));
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    /// UTF-8, without a separator at the end.
    std::string Path() const { return Utf8Of(directory); }
    /// The path of something in it.
    std::string Path(const std::string& name) const { return Utf8Of(directory / PathOf(name)); }

    /// Makes a file and answers its path.
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream file(directory / PathOf(name), std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return Path(name);
    }
    std::string Read(const std::string& name) const {
        std::ifstream file(directory / PathOf(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// The names of what is in it, or in a directory below it, in order.
    std::vector<std::string> Names(const std::string& below = "") const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory / PathOf(below))) {
            names.push_back(Utf8Of(entry.path().filename()));
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// The lines of all files in it whose names begin so, in the order of their names.
    std::vector<std::string> Lines(const std::string& prefix = "") const {
        std::vector<std::string> lines;
        for (const std::string& name : Names()) {
            std::istringstream text(name.rfind(prefix, 0) == 0 ? Read(name) : "");
            for (std::string line; std::getline(text, line);) {
                lines.push_back(line);
            }
        }
        return lines;
    }

private:
    std::filesystem::path directory;
};

}  // namespace support
