// What the library relies on, on every system.

#include "core/platform/platform.h"

#include <gtest/gtest.h>

#include "core/foundation/directories.h"
#include "support/scratch_directory.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace core::platform {
namespace {

using support::PathOf;
using support::ScratchDirectory;

void Append(AppendFile& file, const std::string& text) {
    std::size_t written = 0;
    ASSERT_EQ(0U, file.Write(text.data(), text.size(), written));
    ASSERT_EQ(text.size(), written);
}

TEST(AppendFile, GrowsAndNeverTruncates) {
    const ScratchDirectory scratch;
    const std::string path = scratch.Write("a \u0144 \U0001F40C.log", "old ");
    std::uint64_t size = 0;
    AppendFile one;
    AppendFile two;
    ASSERT_EQ(0U, one.Open(path));
    ASSERT_EQ(0U, two.Open(path));
    EXPECT_EQ(0U, one.Size(size));
    EXPECT_EQ(4U, size);
    // Each write goes to the end that the file has then.
    Append(one, "one ");
    Append(two, "two ");
    Append(one, "three ");
    EXPECT_EQ(0U, two.Size(size));
    EXPECT_EQ(18U, size);
    EXPECT_EQ(0U, one.Flush());

    AppendFile moved(std::move(one));
    two = std::move(moved);
    EXPECT_TRUE(two.IsOpen());
    EXPECT_FALSE(moved.IsOpen());
    Append(two, "four");
    two.Close();
    EXPECT_EQ("old one two three four", scratch.Read("a \u0144 \U0001F40C.log"));
}

TEST(AppendFile, SaysWhatItCanNotOpenOrWrite) {
    const ScratchDirectory scratch;
    AppendFile file;
    std::size_t written = 99;
    ASSERT_EQ(0U, file.Open(scratch.Path("a")));
    EXPECT_NE(0U, file.Open(scratch.Path("missing/a")));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_NE(0U, file.Open(scratch.Path()));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_NE(0U, file.Write("x", 1, written));
    EXPECT_EQ(0U, written);
    std::uint64_t size = 0;
    EXPECT_NE(0U, file.Size(size));
    EXPECT_NE(0U, file.Flush());
    file.Close();
}

TEST(AppendFile, CanBeRenamedAndRemovedWhileOpen) {
    const ScratchDirectory scratch;
    AppendFile file;
    ASSERT_EQ(0U, file.Open(scratch.Path("a")));
    Append(file, "1");
    std::filesystem::rename(PathOf(scratch.Path("a")), PathOf(scratch.Path("b")));
    Append(file, "2");
    EXPECT_EQ("12", scratch.Read("b"));
    EXPECT_NE(0U, RemoveFileUnlessOpen(scratch.Path("b")));
    EXPECT_FALSE(file.IsRemoved());
    std::filesystem::remove(PathOf(scratch.Path("b")));
    // Some systems wait with it until the file is closed.
    EXPECT_EQ(Exists(scratch.Path("b")), !file.IsRemoved());
    Append(file, "3");
    file.Close();
    EXPECT_EQ(0U, RemoveFileUnlessOpen(scratch.Write("c", "")));
    EXPECT_FALSE(Exists(scratch.Path("c")));
}

TEST(ReadFile, ReadsAtAnyOffset) {
    const ScratchDirectory scratch;
    ReadFile file;
    ASSERT_EQ(0U, file.Open(scratch.Write("\u0144", "0123456789")));
    struct Row {
        std::uint64_t offset;
        std::size_t size;
        std::string expected;
    };
    const Row rows[] = {{0, 4, "0123"}, {7, 4, "789"},       {3, 0, ""},
                        {10, 4, ""},    {1ULL << 40, 4, ""}, {UINT64_MAX - 1, 4, ""}};
    for (const Row& row : rows) {
        std::string bytes(row.size, '#');
        std::size_t read = 99;
        file.Read(row.offset, bytes.data(), bytes.size(), read);
        EXPECT_EQ(row.expected, bytes.substr(0, read)) << row.offset;
    }
    std::uint64_t size = 0;
    EXPECT_EQ(0U, file.Size(size));
    EXPECT_EQ(10U, size);
    EXPECT_NE(0U, ReadFile().Open(scratch.Path("missing")));
    EXPECT_NE(0U, ReadFile().Open(scratch.Path()));
}

TEST(Directories, ListsWhatIsThere) {
    const ScratchDirectory scratch;
    std::set<std::string> expected = {"directory/"};
    ASSERT_EQ(0U, MakeDirectory(scratch.Path("directory")));
    for (const char* const name : {"a", "\u0144 \U0001F40C", ".hidden", "a b.log"}) {
        scratch.Write(name, "x");
        expected.insert(name);
    }
    std::vector<DirectoryEntry> entries = {{"old", false}};
    ASSERT_EQ(0U, ListDirectory(scratch.Path(), entries));
    std::set<std::string> names;
    for (const DirectoryEntry& entry : entries) {
        names.insert(entry.name + (entry.isDirectory ? "/" : ""));
    }
    EXPECT_EQ(expected, names);
    EXPECT_EQ(expected.size(), entries.size());

    EXPECT_EQ(0U, ListDirectory(scratch.Path("directory"), entries));
    EXPECT_TRUE(entries.empty());
    EXPECT_NE(0U, ListDirectory(scratch.Path("missing"), entries));
    EXPECT_NE(0U, ListDirectory(scratch.Path("a"), entries));
}

TEST(Directories, AreMadeWithThoseAbove) {
    const ScratchDirectory scratch;
    const std::string deep = scratch.Path("one/\u0144 \U0001F40C/three");
    EXPECT_TRUE(MakeDirectories(deep));
    EXPECT_TRUE(std::filesystem::is_directory(PathOf(deep)));
    EXPECT_TRUE(MakeDirectories(deep));
    EXPECT_TRUE(MakeDirectories(scratch.Path("two") + "/"));
    EXPECT_TRUE(MakeDirectories(scratch.Path("four") + "//five//"));
    scratch.Write("file", "x");
    EXPECT_FALSE(MakeDirectories(scratch.Path("file")));
    EXPECT_FALSE(MakeDirectories(scratch.Path("file/inside")));
    EXPECT_FALSE(MakeDirectories(""));
    EXPECT_NE(0U, RemoveFileUnlessOpen(deep));
    EXPECT_NE(0U, MakeDirectory(deep));
    EXPECT_TRUE(IsDirectory(deep));
    EXPECT_FALSE(IsDirectory(scratch.Path("file")));
}

TEST(Paths, AreMadeAbsoluteFromTheCurrentDirectory) {
    const ScratchDirectory scratch;
    std::string absolute;
    ASSERT_EQ(0U, MakeAbsolute("a \u0144/b", absolute));
    EXPECT_EQ((std::filesystem::current_path() / PathOf("a \u0144/b")).lexically_normal(),
              PathOf(absolute).lexically_normal());
    const std::string path = scratch.Write("\U0001F40C", "x");
    ASSERT_EQ(0U, MakeAbsolute(path, absolute));
    EXPECT_TRUE(std::filesystem::equivalent(PathOf(path), PathOf(absolute)));
    ASSERT_EQ(0U, MakeAbsolute("", absolute));
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::current_path(), PathOf(absolute)));
}

TEST(Threads, HaveNumbersOfTheirOwn) {
    std::set<std::uint64_t> ids = {CurrentThreadId()};
    EXPECT_EQ(*ids.begin(), CurrentThreadId());
    std::atomic<int> running{4};
    std::vector<std::uint64_t> theirs(4);
    std::vector<std::thread> threads;
    for (std::uint64_t& id : theirs) {
        threads.emplace_back([&] {
            id = CurrentThreadId();
            // All at once: a number is free again when its thread has ended.
            --running;
            while (running > 0) {
                std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ids.insert(theirs.begin(), theirs.end());
    EXPECT_EQ(5U, ids.size());
}

bool IsOnThisStack(const void* address) {
    std::uintptr_t low = 0;
    std::uintptr_t high = 0;
    EXPECT_TRUE(CurrentStackLimits(low, high));
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    return low < at && at < high;
}

TEST(Threads, KnowTheLimitsOfTheirStack) {
    int local = 0;
    // On the first thread, on a new one, and again.
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(IsOnThisStack(&local));
        std::thread([&] {
            int inner = 0;
            EXPECT_TRUE(IsOnThisStack(&inner));
            EXPECT_FALSE(IsOnThisStack(&local));
        }).join();
    }
    struct Visit {
        std::uint64_t caller = CurrentThreadId();
        const void* place = nullptr;
    } visit;
    EXPECT_TRUE(RunOnNewStack(
        [](void* argument) {
            auto* const there = static_cast<Visit*>(argument);
            EXPECT_EQ(there->caller, CurrentThreadId());
            EXPECT_LT(100'000, std::abs(reinterpret_cast<const char*>(&there) -
                                        reinterpret_cast<const char*>(there)));
            there->place = there;
        },
        &visit));
    EXPECT_EQ(&visit, visit.place);
    EXPECT_FALSE(OtherThreadsAreGone());
}

TEST(Modules, AreFoundByTheirAddresses) {
    const auto nameOf = [](std::uintptr_t address, std::uintptr_t& offset) {
        char name[100] = "none";
        FindModule(address, name, sizeof name, offset);
        return std::string(name);
    };
    std::uintptr_t offset = 0;
    const auto here = reinterpret_cast<std::uintptr_t>(&FindModule);
    EXPECT_NE(std::string::npos, nameOf(here, offset).find("core_internal_tests"));
    EXPECT_LT(offset, std::uintptr_t{100} << 20);
    EXPECT_EQ("", nameOf(1, offset));
    EXPECT_EQ(1U, offset);
}

// Threads that start wait for the loader, which waits for the library.
TEST(Libraries, MayAskForTheirStackWhileTheyAreLoaded) {
    SystemError error = 0;
    void* const library = OpenLibrary(CORE_STACK_ASKER, error);
    ASSERT_NE(nullptr, library) << error;
    CloseLibrary(library);
}

TEST(Libraries, ThatAreMissingGiveTheSystemsReason) {
    for (const char* const name : {"", "no-such-library-1.dll", "./missing \u0144.so"}) {
        SystemError error = 0;
        EXPECT_EQ(nullptr, OpenLibrary(name, error)) << name;
        EXPECT_NE(0U, error) << name;
    }
}

}  // namespace
}  // namespace core::platform
