// Files: what fails is told, and no descriptor stays open.

#include "core/platform/platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/scratch_directory.h"

namespace {
std::atomic<bool> hasNoProc = false;
}  // namespace

// Some systems have no /proc.
ssize_t readlink(const char* path, char* target, std::size_t size) {
    if (hasNoProc) {
        errno = ENOENT;
        return -1;
    }
    return syscall(SYS_readlinkat, AT_FDCWD, path, target, size);
}

namespace core::platform {
namespace {

int NextDescriptor() {
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status));
    return status.st_mode & 07777;
}

TEST(PosixFiles, SayWhatFailsAndLeaveNoDescriptorOpen) {
    const support::ScratchDirectory scratch;
    const int before = NextDescriptor();
    const std::string a = scratch.Write("a", "1");
    const std::string b = scratch.Write("b", "2");
    const std::string missing = scratch.Path("missing/x");
    {
        ReadFile file;
        ReadFile folder;
        EXPECT_EQ(0U, file.Open(a));
        EXPECT_EQ(SystemError{EISDIR}, folder.Open(scratch.Path()));
        AppendFile one;
        AppendFile two;
        EXPECT_EQ(0U, one.Open(a));
        EXPECT_EQ(0U, one.Open(a));
        errno = EWOULDBLOCK;  // of somebody else
        EXPECT_EQ(0U, two.Open(a));
        one = std::move(two);
        EXPECT_EQ(SystemError{EWOULDBLOCK}, RemoveFileUnlessOpen(a));
        char name[4] = {'x', 'x', 'x', '!'};
        std::uintptr_t offset = 0;
        FindModule(reinterpret_cast<std::uintptr_t>(&FindModule), name, 3, offset);
        EXPECT_EQ(std::string("co\0!", 4), std::string(name, 4));
    }
    ASSERT_EQ(0, mkdir(scratch.Path("folder").c_str(), 0777));
    ASSERT_EQ(0, symlink("folder", scratch.Path("to folder").c_str()));
    ASSERT_EQ(0, symlink("a", scratch.Path("to a").c_str()));
    ASSERT_EQ(0, symlink("nowhere", scratch.Path("to nowhere").c_str()));
    std::vector<DirectoryEntry> entries;
    EXPECT_EQ(0U, ListDirectory(scratch.Path(), entries));
    std::set<std::pair<std::string, bool>> found;
    for (const DirectoryEntry& entry : entries) {
        found.insert({entry.name, entry.isDirectory});
    }
    EXPECT_EQ((std::set<std::pair<std::string, bool>>{{"a", false},
                                                      {"b", false},
                                                      {"folder", true},
                                                      {"to a", false},
                                                      {"to folder", true},
                                                      {"to nowhere", false}}),
              found);
    EXPECT_EQ(SystemError{ENOENT}, ListDirectory(missing, entries));
    EXPECT_EQ(0U, RemoveFileUnlessOpen(scratch.Path("to nowhere")));
    EXPECT_EQ(SystemError{ENOENT}, RemoveFileUnlessOpen(missing));

    ASSERT_EQ(0, chmod(a.c_str(), 02640));
    EXPECT_EQ(0U, CopyPermissions(a, b));
    EXPECT_EQ(ModeOf(a), ModeOf(b));
    EXPECT_EQ(SystemError{ENOENT}, CopyPermissions(missing, a));
    EXPECT_EQ(SystemError{ENOENT}, CopyPermissions(a, missing));
    EXPECT_EQ(mode_t{02640}, ModeOf(a));
    std::string resolved;
    EXPECT_EQ(0U, ResolveLinks(scratch.Path("to a"), resolved));
    EXPECT_EQ("a", resolved.substr(resolved.rfind('/') + 1));
    hasNoProc = true;
    EXPECT_EQ(SystemError{ENOENT}, ExecutablePath(resolved));
    hasNoProc = false;
    EXPECT_EQ(SystemError{ENOENT}, ResolveLinks(missing, resolved));
    EXPECT_EQ(0U, MoveOver(b, a));
    EXPECT_EQ("2", scratch.Read("a"));
    EXPECT_FALSE(Exists(b));
    EXPECT_EQ(SystemError{ENOENT}, MoveOver(missing, a));
    EXPECT_TRUE(MayPass(EAGAIN) && IsBusy(EBUSY) && !IsBusy(EAGAIN));
    EXPECT_EQ(before, NextDescriptor());
}

}  // namespace
}  // namespace core::platform
