#include <core/foundation/file_helpers.h>
#include <gtest/gtest.h>

#include "support/scratch_directory.h"

#include <filesystem>
#include <string>

namespace {

using support::PathOf;
using support::ScratchDirectory;

TEST(FileHelpers, SeeObjectsOfEveryKind) {
    const ScratchDirectory scratch;
    const std::string file = scratch.Write("a \u0144 \U0001F40C.txt", "x");
    const std::string empty = scratch.Write("empty", "");
    EXPECT_TRUE(core::IsFileExist(file));
    EXPECT_TRUE(core::IsFileExist(empty));
    EXPECT_TRUE(core::IsFileExist(scratch.Path()));
    EXPECT_TRUE(core::IsFileExist("."));
    EXPECT_FALSE(core::IsFileExist(scratch.Path("missing")));
    EXPECT_FALSE(core::IsFileExist(file + "/inside"));
}

TEST(FileHelpers, AnswerTextsThatAreNoPath) {
    EXPECT_FALSE(core::IsFileExist(""));
    EXPECT_FALSE(core::IsFileExist("file:/"));
    EXPECT_FALSE(core::IsFileExist("\xFF\xFE no path"));
    EXPECT_FALSE(core::IsFileExist(std::string(1'000'000, 'x')));
    EXPECT_FALSE(core::IsFileExist("file:/" + std::string(1'000'000, '/') + "x"));
}

// With "file:/" anywhere, the first six characters go, whatever they are.
TEST(FileHelpers, DropSixCharactersOfAFileUrl) {
    const ScratchDirectory scratch;
    const std::string file = scratch.Write("clip", "x");
    EXPECT_TRUE(core::IsFileExist("file:/" + file));
    EXPECT_FALSE(core::IsFileExist("FILE:/" + file));

    // Directories that are called "file:" and "file:///" in a path, where the system
    // has such names.
    std::error_code error;
    std::filesystem::create_directory(PathOf(scratch.Path("file:")), error);
    if (!error) {
        scratch.Write("file:/clip", "x");
        EXPECT_TRUE(core::IsFileExist("012345" + scratch.Path("file:/clip")));
        EXPECT_TRUE(core::IsFileExist("012345" + scratch.Path("file:///clip")));
        EXPECT_FALSE(core::IsFileExist("0123456" + scratch.Path("file:///clip")));
        EXPECT_FALSE(core::IsFileExist(scratch.Path("file:/clip")));
    }
}

TEST(FileHelpers, TheExecutablesDirectoryHoldsThisProgram) {
    const std::string directory = core::getExecutablePath();
    ASSERT_FALSE(directory.empty());
    EXPECT_EQ(std::string::npos, std::string("/\\").find(directory.back()));
    EXPECT_TRUE(std::filesystem::is_directory(PathOf(directory)));
    EXPECT_TRUE(core::IsFileExist(directory + "/core_tests") ||
                core::IsFileExist(directory + "/core_tests.exe"));
}

}  // namespace
