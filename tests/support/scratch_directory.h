#pragma once

// A directory for one test, with a name that no code page has: removed, with all
// that is in it, at the end.

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

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

private:
    std::filesystem::path directory;
};

}  // namespace support
