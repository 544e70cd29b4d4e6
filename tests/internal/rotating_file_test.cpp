#include "core/logging/rotating_file.h"

#include "core/logging/file_channel.h"

#include <core/foundation/time_util.h>
#include <core/logging/log_files.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/file_rows.h"
#include "support/scratch_directory.h"

namespace {

using core::FileLimits;
using core::LineQueue;
using core::RotatingFile;
using support::PathOf;
using support::ScratchDirectory;
using testing::HasSubstr;

constexpr std::uint64_t kMiB = 1 << 20;
constexpr std::chrono::milliseconds kInterval(1501);

/// A file with its queue and a clock of its own.
class Given {
public:
    Given(const std::string& directory, FileLimits limits, const std::string& prefix)
        : file(std::make_unique<RotatingFile>(directory + "/", limits, prefix)) {
        isOpen = file->Open() == 0;
    }

    void Write(const std::string& line) {
        queue.Append(line);
        file->WriteFront(queue, now);
        file->Rotate(now);
    }
    void Wait(std::chrono::milliseconds time) { now += time; }
    static std::chrono::seconds Second() {
        return std::chrono::duration_cast<std::chrono::seconds>(
            std::chrono::system_clock::now().time_since_epoch());
    }
    /// Until names differ in their second.
    static void AwaitNextSecond() {
        for (const auto begin = Second(); Second() == begin;) {
            std::this_thread::yield();
        }
    }

    LineQueue queue;
    std::unique_ptr<RotatingFile> file;
    bool isOpen;
    RotatingFile::Clock::time_point now = RotatingFile::Clock::now();
};

TEST(RotatingFile, NamesItsFileAfterPrefixAndTime) {
    const ScratchDirectory scratch;
    Given given(scratch.Path("new/deep"), {}, "render");
    ASSERT_TRUE(given.isOpen);
    given.Write("first");
    const auto names = scratch.Names("new/deep");
    ASSERT_EQ(1u, names.size());
    EXPECT_TRUE(std::regex_match(names.front(), std::regex(R"(render_\d{4}(_\d\d){5}\.log)")));
    EXPECT_EQ("first\n", scratch.Read("new/deep/" + names.front()));
    // Everybody's, as the system makes it.
    const auto access = [&](const std::string& name) {
        return std::filesystem::status(PathOf(scratch.Path("new/deep/" + name))).permissions();
    };
    scratch.Write("new/deep/plain", "");
    EXPECT_EQ(access("plain"), access(names.front()));
}

TEST(RotatingFile, BeginsANewFileOnlyWhenTheIntervalHasPassed) {
    const ScratchDirectory scratch;
    Given given(scratch.Path(), {0, 10}, "m");
    const std::string half(kMiB / 2, 'x');
    given.Write("looks for the first time");
    given.Write(half);
    given.Write(half);
    given.Write("still here");
    Given::AwaitNextSecond();
    given.Wait(kInterval - std::chrono::milliseconds(1));
    given.Write("and here");
    EXPECT_EQ(1u, scratch.Names().size());
    given.Wait(std::chrono::milliseconds(1));
    given.Write("the line that triggers it");
    given.Write("the first of the next");
    const auto names = scratch.Names();
    ASSERT_EQ(2u, names.size());
    EXPECT_EQ("looks for the first time\n" + half + "\n" + half +
                  "\nstill here\nand here\nthe line that triggers it\n",
              scratch.Read(names[0]));
    EXPECT_EQ("the first of the next\n", scratch.Read(names[1]));
}

TEST(RotatingFile, BeginsANewFileFromTheLimitOn) {
    // The limit, a file's size, and how many files there are then.
    const std::uint64_t rows[][3] = {{0, kMiB - 1, 1},
                                     {0, kMiB, 2},
                                     {kMiB - 1, kMiB - 1, 1},
                                     {kMiB + 9, kMiB + 8, 1},
                                     {kMiB + 9, kMiB + 9, 2}};
    for (const auto& [limit, size, files] : rows) {
        const ScratchDirectory scratch;
        Given given(scratch.Path(), {limit, 10}, "m");
        given.Write("");
        Given::AwaitNextSecond();
        given.Wait(kInterval);
        given.Write(std::string(size - 2, 'x'));
        EXPECT_EQ(files, scratch.Names().size()) << size;
    }
}

TEST(RotatingFile, OnRequestNoFileIsLargerThanItsLimit) {
    const ScratchDirectory scratch;
    Given given(scratch.Path(), {0, 1000}, "m");
    RotatingFile::SetExact(true);
    std::string all;
    for (std::size_t i = 0; i < 2000; ++i) {
        // Some alone, some in portions, one beyond the limit.
        const std::string line(i == 1000 ? kMiB + 7 : i * 7919 % 10'000,
                               static_cast<char>('a' + i % 26));
        all += line + "\n";
        given.queue.Append(line);
        while (i % 10 > 7 && given.queue.WaitingBytes() > 0) {
            given.file->WriteFront(given.queue, given.now);
            given.file->Rotate(given.now);
        }
    }
    // Old files go at once, too.
    const ScratchDirectory other;
    Given few(other.Path(), {0, 2}, "m");
    for (int i = 0; i < 4; ++i) {
        few.Write(std::string(kMiB - 1, 'x'));
        EXPECT_EQ(2u, other.Names().size());
    }
    RotatingFile::SetExact(false);
    std::string read;
    int larger = 0;
    for (const std::string& name : scratch.Names()) {
        const std::string text = scratch.Read(name);
        larger += text.size() > kMiB ? 1 : 0;
        EXPECT_TRUE(text.size() <= kMiB || text.size() == kMiB + 8) << name;
        read += text;
    }
    EXPECT_EQ(1, larger);
    EXPECT_TRUE(all == read);
}

TEST(RotatingFile, CountsTheOldSizeOfAFileItFinds) {
    // Of the same second: another try where the machine took longer.
    for (bool isFound = false; !isFound;) {
        const ScratchDirectory scratch;
        const std::string name = "m_" + core::TimeUtil::now("") + ".log";
        scratch.Write(name, std::string(kMiB, 'x'));
        Given given(scratch.Path(), {0, 10}, "m");
        isFound = scratch.Names().size() == 1;
        if (isFound) {
            Given::AwaitNextSecond();
            given.Write("a short line");
            given.Write("in a new file");
            EXPECT_EQ(std::string(kMiB, 'x') + "a short line\n", scratch.Read(name));
            EXPECT_EQ(2u, scratch.Names().size());
        }
    }
}

TEST(RotatingFile, RemovesTheOldestOfItsFiles) {
    for (const support::FileRow& row : support::RowsOf("removed_logs.txt")) {
        SCOPED_TRACE(row.name);
        const ScratchDirectory scratch;
        std::istringstream files(row["files"]);
        for (std::string name; std::getline(files, name);) {
            scratch.Write(name, "old");
        }
        Given given(scratch.Path(), {0, std::stoull(row["keeps"])}, row[""].c_str());
        ASSERT_TRUE(given.isOpen);
        std::vector<std::string> expected = scratch.Names();
        std::istringstream removed(row["removed"]);
        for (std::string name; std::getline(removed, name);) {
            expected.erase(std::find(expected.begin(), expected.end(), name));
        }
        given.Write("line");
        EXPECT_EQ(expected, scratch.Names());
    }
}

TEST(RotatingFile, NeverRemovesAFileThatIsOpen) {
    const ScratchDirectory scratch;
    Given::AwaitNextSecond();
    Given older(scratch.Path(), {0, 1}, "m_a");
    Given oldest(scratch.Path() + "/./", {0, 1}, "m_A");
    Given given(scratch.Path(), {0, 1}, "m");
    const std::vector<std::string> all = scratch.Names();
    scratch.Write("m_0.log", "closed");
    given.Write("line");
    EXPECT_EQ(all, scratch.Names());
}

TEST(RotatingFile, SaysWhichPrefixesAreTooHard) {
    for (const support::FileRow& row : support::RowsOf("log_prefixes.txt")) {
        const std::string notice = core::FilePrefix(row[""]).Notice();
        const std::string begin = "log prefix \"" + row[""] + "\" ";
        EXPECT_EQ(row["says"].empty() ? "" : begin + row["says"] + ": its old files are kept",
                  notice);
    }
}

// A caller that is far ahead waits, no longer than a second, or lines go.
TEST(FileChannel, TakesAsMuchAsMayWait) {
    for (const int policy : {CORE_LOG_WAIT, CORE_LOG_DROP_OLDEST, CORE_LOG_DROP_NEWEST}) {
        const ScratchDirectory scratch;
        core::FileCounters counters;
        core::BsFileChannel channel(scratch.Path() + "/", {}, "m");
        channel.CountIn(counters);
        ASSERT_EQ(0u, channel.Open());
        core::BsFileChannel::SetFullQueue(policy, 1);  // 64 KiB, the least
        const int count = policy == CORE_LOG_WAIT ? 64 : 67;
        std::vector<std::string> lines;
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(0u, counters.longestWaitNanos);
            lines.push_back("[Info][1][" + std::to_string(100 + i) + std::string(1010, ']'));
            // A task is needed for the first one, and where one was lost.
            const bool isTaken = policy != CORE_LOG_DROP_NEWEST || i < 64;
            EXPECT_EQ(i % 40 == 0 && isTaken, channel.Append(lines.back(), i % 2 == 0)) << i;
            if (i == 39) {
                channel.TaskIsLost();
            }
            channel.WaitForRoom();
        }
        if (policy == CORE_LOG_WAIT) {
            EXPECT_GE(counters.longestWaitNanos, 1'000'000'000u);
            EXPECT_LE(counters.longestWaitNanos, 60'000'000'000u);
        } else {
            EXPECT_EQ(0u, counters.longestWaitNanos);
        }
        core::BsFileChannel::SetFullQueue(CORE_LOG_WAIT, 0);
        channel.WriteWaiting();
        const auto first = lines.begin() + (policy == CORE_LOG_DROP_OLDEST ? 3 : 0);
        std::string expected;
        if (policy != CORE_LOG_WAIT) {
            expected = "[Error][" + std::to_string(core::platform::CurrentThreadId()) + "][" +
                       first->substr(10, 3) + "][core]3 lines lost: the queue was full\n";
        }
        for (auto line = first; line != first + 64; ++line) {
            expected += *line + "\n";
        }
        EXPECT_EQ(expected, scratch.Read(scratch.Names().at(0)));
        EXPECT_EQ(expected.size(), counters.bytes);
        EXPECT_EQ(static_cast<std::uint64_t>(count - 64), counters.lostLines);
        EXPECT_TRUE(channel.Append("", false));
    }
}

// Who waits for room goes on when there is some, not when the second is over.
TEST(FileChannel, LetsWhoWaitsGoOnAtOnce) {
    const ScratchDirectory scratch;
    core::BsFileChannel::SetFullQueue(CORE_LOG_WAIT, 1);
    std::uint64_t least = UINT64_MAX;
    // The machine may be busy once, or some times.
    for (int i = 0; i < 20 && least >= 1'000'000'000; ++i) {
        core::FileCounters counters;
        core::BsFileChannel channel(scratch.Path() + "/", {}, "m");
        channel.CountIn(counters);
        channel.Open();
        channel.Append(std::string(100'000, '.'), false);
        std::thread waiting([&] { channel.WaitForRoom(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        channel.WriteWaiting();
        waiting.join();
        const std::uint64_t waited = counters.longestWaitNanos;
        least = waited > 0 ? std::min(least, waited) : least;
    }
    core::BsFileChannel::SetFullQueue(CORE_LOG_WAIT, 0);
    EXPECT_LT(least, 1'000'000'000u);
}

TEST(RotatingFile, IsRefusedWhereNoFileCanBe) {
    const ScratchDirectory scratch;
    scratch.Write("taken", "a file");
    EXPECT_FALSE(Given(scratch.Path("taken/below"), {}, "m").isOpen);
    EXPECT_FALSE(Given(scratch.Path(), {}, std::string(300, 'n')).isOpen);
}

TEST(RotatingFile, StaysInItsDirectoryWhateverThePrefix) {
    for (const support::FileRow& row : support::RowsOf("log_file_names.txt")) {
        const ScratchDirectory scratch;
        Given given(scratch.Path("logs"), {}, row["prefix"]);
        EXPECT_TRUE(given.isOpen) << row["prefix"];
        EXPECT_EQ(1u, scratch.Names().size());
        EXPECT_EQ(0u, scratch.Names("logs").at(0).find(row["begin"] + "_2")) << row["prefix"];
    }
}

TEST(RotatingFile, AnExactLimitGivesWayWhereNoFileCanBe) {
    const ScratchDirectory scratch;
    Given given(scratch.Path("logs"), {}, "m");
    std::error_code error;
    std::filesystem::rename(PathOf(scratch.Path("logs")), PathOf(scratch.Path("away")), error);
    if (error) {
        GTEST_SKIP() << "a directory with an open file stays: " << error.message();
    }
    scratch.Write("logs", "in the way");
    RotatingFile::SetExact(true);
    const std::string filling(core::FileLimits().maxBytes - 1, 'x');
    for (const std::string& line : {filling, std::string("1"), std::string("2")}) {
        given.queue.Append(line);
    }
    while (given.queue.WaitingBytes() > 0) {
        given.file->WriteFront(given.queue, given.now);
    }
    RotatingFile::SetExact(false);
    EXPECT_EQ(filling + "\n1\n2\n", scratch.Read("away/" + scratch.Names("away").at(0)));
}

TEST(RotatingFile, ComesBackWhenItsDirectoryVanishes) {
    const ScratchDirectory scratch;
    Given given(scratch.Path("logs"), {}, "m");
    given.Write("gone");
    std::error_code error;
    std::filesystem::rename(PathOf(scratch.Path("logs")), PathOf(scratch.Path("away")), error);
    if (error) {
        GTEST_SKIP() << "a directory with an open file stays: " << error.message();
    }
    // As long as there can be no new file, the old one goes on, wherever it is.
    scratch.Write("logs", "in the way");
    for (const char* line : {"gone too", "far away", "at last"}) {
        given.Wait(kInterval);
        if (std::string("at last") == line) {
            std::filesystem::remove(PathOf(scratch.Path("logs")));
        }
        given.Write(line);
    }
    given.Write("here");
    const auto away = scratch.Names("away");
    ASSERT_EQ(1u, away.size());
    EXPECT_EQ("gone\ngone too\nfar away\nat last\n", scratch.Read("away/" + away.front()));
    const auto names = scratch.Names("logs");
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ("here\n", scratch.Read("logs/" + names.front()));
}

}  // namespace
