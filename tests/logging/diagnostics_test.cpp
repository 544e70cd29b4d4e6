#include <core/foundation/text_encoding.h>
#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/image_file.h"
#include "support/logged.h"
#include "support/scratch_directory.h"

#include <cstdint>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using support::ImageFile;
using support::ScratchDirectory;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

Lines Logged(const std::function<void()>& action) {
    CoreLogSetLogLevelByModule("ZYL", CORE_LOG_WARN);
    return support::Logged(action);
}

std::string Warning(std::int32_t remaining, std::uint32_t total) {
    return "[Warn][core]stack is running out. (remained / total: " + std::to_string(remaining) +
           " / " + std::to_string(total) + ")";
}

void CheckStackOfThisThread() {
    int local = 0;
    std::uint32_t total = 0;
    const std::int32_t remaining = ZYLCoreGetStackRemainedBytes(&local, &total);
    ASSERT_GT(remaining, 2048);
    ASSERT_LT(static_cast<std::uint32_t>(remaining), total);
    EXPECT_EQ(remaining, ZYLCoreGetStackRemainedBytes(&local, nullptr));
    int lower = 0;
    const auto distance =
        reinterpret_cast<std::intptr_t>(&local) - reinterpret_cast<std::intptr_t>(&lower);
    EXPECT_EQ(remaining - distance, ZYLCoreGetStackRemainedBytes(&lower, nullptr));

    // Addresses near the low limit stand in for a stack that is used up.
    const char* const low = reinterpret_cast<const char*>(&local) - remaining;
    for (const std::int32_t left : {2048, 2049, 100'000}) {
        EXPECT_THAT(
            Logged([&] { EXPECT_EQ(left, ZYLCoreGetStackRemainedBytes(low + left, &total)); }),
            IsEmpty());
    }
    for (const std::int32_t left : {2047, 1, 0, -1, -4096}) {
        EXPECT_THAT(
            Logged([&] { EXPECT_EQ(left, ZYLCoreGetStackRemainedBytes(low + left, &total)); }),
            ElementsAre(Warning(left, total)));
    }
}

TEST(StackDiagnostics, CountFromTheLowLimitOfTheCallingThread) {
    CheckStackOfThisThread();
    std::thread(CheckStackOfThisThread).join();
}

#if defined(CORE_TEST_LAST_BYTES_OF_STACK)
// Goes down until the warning comes, and answers what was left then.
std::int32_t UseUpStack() {
    volatile char frame[256];
    frame[0] = 1;
    const std::int32_t remaining =
        ZYLCoreGetStackRemainedBytes(const_cast<const char*>(&frame[0]), nullptr);
    return remaining < 2048 ? remaining : UseUpStack() + frame[0] - 1;
}

TEST(StackDiagnostics, WarnWithTheStackReallyUsedUp) {
    for (int i = 0; i < 2; ++i) {
        std::int32_t remaining = 0;
        const Lines lines = Logged([&] { std::thread([&] { remaining = UseUpStack(); }).join(); });
        EXPECT_GT(remaining, 0);
        ASSERT_EQ(1U, lines.size());
        EXPECT_THAT(lines[0], testing::HasSubstr("remained / total: " + std::to_string(remaining)));
    }
}
#endif

std::wstring Wide(const std::string& utf8) {
    std::wstring wide;
    EXPECT_TRUE(core::ZYLCore_UTF8_Unicode(utf8.c_str(), wide));
    return wide;
}

Lines Check(const std::string& path) {
    return Logged([&] { ZYLCorePrintDependency(Wide(path).c_str()); });
}

TEST(Dependencies, FaultsOfAnImageAreNamed) {
    const std::pair<std::string, std::function<void(ImageFile&)>> rows[] = {
        {"DOS SIGNATURE is invalid", [](ImageFile& i) { i.Set16(0, 0); }},
        {"NT SIGNATURE is invalid", [](ImageFile& i) { i.Set16(i.ntOffset + 24, 0x010B); }},
        {"NumberOfSections is 0", [](ImageFile& i) { i.Set16(i.ntOffset + 6, 0); }},
        {"import directory is invalid", [](ImageFile& i) { i.importAddress = 0; }},
        {"import descriptor's FOA is invalid",
         [](ImageFile& i) { i.importAddress = ImageFile::kSectionAddress; }},
    };
    const ScratchDirectory scratch;
    for (const auto& [text, change] : rows) {
        ImageFile image;
        change(image);
        const std::string path = scratch.Write("image \u0144 \U0001F40C.exe", image.Bytes());
        EXPECT_THAT(Check(path), ElementsAre("[Error][core][dependency (" + path + ")] " + text));
    }
    for (const std::string& path : {scratch.Path("missing \u0144"), scratch.Path()}) {
        EXPECT_THAT(Check(path),
                    ElementsAre("[Error][core][dependency (" + path + ")] can't open this file"));
    }
    EXPECT_THAT(Logged([] { ZYLCorePrintDependency(nullptr); }),
                ElementsAre("[Error][core][dependency ()] can't open this file"));
}

TEST(Dependencies, ThatCanNotBeLoadedAreNamedInOrder) {
    const ScratchDirectory scratch;
    ImageFile image;
    image.names = {"no-such-library-1.dll", "", "%s%n-2.dll", std::string(300, 'x')};
    const std::string path = scratch.Write("image", image.Bytes());
    const Lines lines = Check(path);
    ASSERT_EQ(image.names.size(), lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string start = "[Error][core][dependency (" + path + ")] CAN NOT LOAD (" +
                                  image.names[i].substr(0, 260) + ", err ";
        ASSERT_EQ(start, lines[i].substr(0, start.size()));
        const std::string code = lines[i].substr(start.size());
        EXPECT_TRUE(std::regex_match(code, std::regex("[0-9a-f]{8}\\)"))) << code;
        EXPECT_NE("00000000)", code);
    }
}

TEST(Dependencies, ThatLoadAreNotMentioned) {
    const ScratchDirectory scratch;
    // One of the two is there on every system.
    ImageFile image;
    image.names = {"libc.so.6", "kernel32.dll"};
    const Lines lines = Check(scratch.Write("image", image.Bytes()));
    ASSERT_EQ(1U, lines.size());
    image.names.erase(image.names.begin() +
                      (lines[0].find("kernel32") != std::string::npos ? 1 : 0));
    EXPECT_THAT(Check(scratch.Write("image", image.Bytes())), IsEmpty());
    image.names.clear();
    EXPECT_THAT(Check(scratch.Write("image", image.Bytes())), IsEmpty());
}

TEST(Dependencies, TooManyToCheckAreSaidToBe) {
    const ScratchDirectory scratch;
    ImageFile image;
    image.names.assign(4097, "");
    const std::string path = scratch.Write("image", image.Bytes());
    const Lines lines = Check(path);
    ASSERT_EQ(4097U, lines.size());
    EXPECT_EQ("[Warn][core][dependency (" + path + ")] only the first 4096 imports were checked",
              lines.back());
}

// GNU ld puts the import table at the very start of its section, where it does not count. A
// library for Linux is no such image at all.
TEST(Dependencies, OfThisLibraryAreNotFound) {
    std::ifstream file(support::PathOf(CORE_LIBRARY_FILE), std::ios::binary);
    EXPECT_THAT(Check(CORE_LIBRARY_FILE),
                ElementsAre(std::string("[Error][core][dependency (" CORE_LIBRARY_FILE ")] ") +
                            (file.get() == 'M' ? "import descriptor's FOA is invalid"
                                               : "DOS SIGNATURE is invalid")));
}

}  // namespace
