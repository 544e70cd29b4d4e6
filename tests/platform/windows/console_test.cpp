// Standard output that changes while the process runs.

#include "core/platform/platform.h"

#include <gtest/gtest.h>

#include "support/scratch_directory.h"

#include <windows.h>

namespace {

TEST(WindowsConsole, LinesGoWhereStandardOutputLeadsNow) {
    const support::ScratchDirectory scratch;
    const HANDLE before = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE file =
        CreateFileW(support::PathOf(scratch.Path("out")).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                    nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    SetStdHandle(STD_OUTPUT_HANDLE, file);
    core::platform::WriteToStandardOutput("one\ntwo\n");
    SetStdHandle(STD_OUTPUT_HANDLE, before);
    core::platform::WriteToStandardOutput("not there\n");
    CloseHandle(file);
    EXPECT_EQ("one\r\ntwo\r\n", scratch.Read("out"));
}

}  // namespace
