#include <core/foundation/save_file.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "support/scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using core::SaveFile;
using support::PathOf;
using support::ScratchDirectory;

std::ptrdiff_t CountFiles(const ScratchDirectory& directory) {
    return std::distance(fs::directory_iterator(PathOf(directory.Path())), {});
}

TEST(SaveFile, ReplacesAFileOrLeavesItAsItWas) {
    const ScratchDirectory directory;
    const std::string path = directory.Path("project.json");
    const std::string zeros(3, '\0');
    EXPECT_TRUE(SaveFile(path, "new\r\n" + zeros));
    EXPECT_EQ("new\r\n" + zeros, directory.Read("project.json"));
    EXPECT_TRUE(SaveFile(path, ""));
    EXPECT_EQ("", directory.Read("project.json"));
    EXPECT_EQ("is a directory", SaveFile(directory.Path(), "x").reason);
    EXPECT_EQ(0U,
              SaveFile(directory.Path("no") + "/such", "x").reason.rfind("can't be written: ", 0));
    // What it was written to first stays nowhere, not even beside a name that is none.
    const auto countHidden = [] {
        return std::count_if(fs::directory_iterator("."), {}, [](const fs::directory_entry& e) {
            return e.path().extension() == ".part" && e.path().filename().native()[0] == '.';
        });
    };
    const auto hidden = countHidden();
    EXPECT_FALSE(SaveFile("", "x"));
    EXPECT_EQ(hidden, countHidden());
    EXPECT_EQ(1, CountFiles(directory));
}

TEST(SaveFile, KeepsPermissionsAndFollowsLinks) {
    const ScratchDirectory directory;
    const std::string path = directory.Write("real", "old");
    fs::permissions(PathOf(path), fs::perms::owner_read | fs::perms::owner_write);
    const fs::perms before = fs::status(PathOf(path)).permissions();
    std::error_code error;
    fs::create_symlink(PathOf(path), PathOf(directory.Path("link")), error);
    const bool hasLinks = !error;
    EXPECT_TRUE(SaveFile(hasLinks ? directory.Path("link") : path, "new"));
    EXPECT_EQ("new", directory.Read("real"));
    EXPECT_EQ(before, fs::status(PathOf(path)).permissions());
    EXPECT_EQ(hasLinks, fs::is_symlink(PathOf(directory.Path("link"))));
}

TEST(SaveFile, ShowsReadersOneWholeFileOrTheOther) {
    const ScratchDirectory directory;
    const std::string path = directory.Write("file", std::string(300'000, 'a'));
    std::atomic<bool> isDone = false;
    std::thread reader([&] {
        while (!isDone) {
            const std::string bytes = directory.Read("file");
            // Nobody can open a file at the instant at which Windows replaces it.
            if (!bytes.empty()) {
                EXPECT_EQ(std::string(bytes.size(), bytes[0]), bytes);
                EXPECT_EQ(bytes[0] == 'a' ? 300'000U : 200'000U, bytes.size());
            }
        }
    });
    int saved = 0;
    for (int i = 0; i < 60; ++i) {
        saved += SaveFile(path, i % 2 == 0 ? std::string(200'000, 'b') : std::string(300'000, 'a'))
                     ? 1
                     : 0;
    }
    isDone = true;
    reader.join();
    EXPECT_LT(0, saved);
    EXPECT_EQ(1, CountFiles(directory));
}

}  // namespace
