// Paths that go to the file system as they are, and paths that are long.

#include "core/logging/rotating_file.h"

#include <gtest/gtest.h>

#include "support/scratch_directory.h"

#include <string>
#include <vector>

namespace {

TEST(WindowsPaths, FilesAreKeptWithinTheirLimitInAnyDirectory) {
    const support::ScratchDirectory scratch;
    const std::string verbatim = "\\\\?\\" + scratch.Path();
    const std::string longName(100, 'n');
    const std::string rows[] = {
        scratch.Path("plain") + "/",
        verbatim + "\\backslash\\",
        verbatim + "\\slash/",
        verbatim + "/doubled\\\\/",
        scratch.Path(longName + "/" + longName + "/" + longName) + "/",
        verbatim + "\\2" + longName + "/" + longName + "/" + longName + "\\",
    };
    for (const std::string& directory : rows) {
        SCOPED_TRACE(directory);
        core::LineQueue queue;
        const auto now = core::RotatingFile::Clock::now();
        for (int i = 0; i < 2; ++i) {
            core::RotatingFile file(directory, {0, 1}, i == 0 ? "m_0" : "m");
            ASSERT_EQ(0U, file.Open());
            queue.Append("line");
            file.WriteFront(queue, now);
            file.Rotate(now);
        }
        std::vector<core::platform::DirectoryEntry> entries;
        ASSERT_EQ(0U, core::platform::ListDirectory(directory, entries));
        ASSERT_EQ(1U, entries.size());
        EXPECT_EQ(0U, entries.front().name.find("m_2"));
    }
}

}  // namespace
