// The log on a disk that takes no more, from any byte on, and takes more again; its threads.

#include "core/logging/rotating_file.h"
#include "core/logging/zyl_log_wrapper_manager.h"

#include <core/logging/timeline.h>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/dice.h"
#include "support/scratch_directory.h"

namespace {

using core::RotatingFile;
using support::PathOf;

/// While it lives, no file takes a byte behind these.
class Room {
public:
    explicit Room(std::uint64_t bytes) {
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit limit = before;
        limit.rlim_cur = std::min<rlim_t>(bytes, before.rlim_cur);
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~Room() { setrlimit(RLIMIT_FSIZE, &before); }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

private:
    rlimit before{};
};

/// Numbered lines on their way to a file of a disk with little room.
class FullDisk {
public:
    FullDisk() {
        core::platform::MakeFileSizeLimitAnError();
        file->CountIn(counters);
        EXPECT_EQ(0u, file->Open());
    }

    void Append(int length) {
        char stamp[16];
        std::snprintf(stamp, sizeof stamp, "%08zu", lines.size());
        lines.push_back(std::string("[Info][1][") + stamp + "][t]" +
                        std::string(static_cast<std::size_t>(length), '.'));
        queue.Append(lines.back());
    }
    /// The oldest that wait find no room in the queue.
    void DropOldest(std::uint64_t waiting) {
        const std::uint64_t dropped = queue.DropOldest(waiting);
        file->NoteDropped(dropped);
        counters.lostLines += dropped;
    }
    void Write() {
        while (queue.WaitingBytes() > 0) {
            const Room room(most);
            file->WriteFront(queue, now);
        }
    }
    void Rotate() {
        const Room room(most);
        file->Rotate(now);
    }
    std::uintmax_t Size() const { return std::filesystem::file_size(Open()); }
    /// Somebody moves the open file, or removes it.
    void TakeAway(bool isKept) {
        const std::filesystem::path away = PathOf(scratch.Path("away"));
        now += std::chrono::milliseconds(1501);
        Rotate();  // sees it in its place
        if (!isKept) {
            before += WholeLinesOf(Open());
        }
        std::filesystem::rename(Open(), away);
        if (!isKept) {
            std::filesystem::remove(away);
        }
        Append(20);
        Write();
        now += std::chrono::milliseconds(1501);
        Rotate();
        if (isKept) {
            before += WholeLinesOf(away);
            std::filesystem::remove(away);
        }
    }
    /// What lies in the files; those that were taken away come first.
    std::string All() const { return before + WholeLinesOf(Open()); }

    const support::ScratchDirectory scratch;
    core::LineQueue queue;
    core::FileCounters counters;
    std::unique_ptr<RotatingFile> file =
        std::make_unique<RotatingFile>(scratch.Path() + "/", core::FileLimits{}, "m");
    RotatingFile::Clock::time_point now = RotatingFile::Clock::now();
    std::uint64_t most = RLIM_INFINITY;
    std::vector<std::string> lines;

private:
    std::string WholeLinesOf(const std::filesystem::path& path) const {
        const std::string text = scratch.Read(support::Utf8Of(path.filename()));
        return text.substr(0, text.rfind('\n') + 1);
    }
    std::string before;

    std::filesystem::path Open() const {
        for (const auto& entry : std::filesystem::directory_iterator(PathOf(scratch.Path()))) {
            if (entry.path().extension() == ".log") {
                return entry.path();
            }
        }
        return {};
    }
};

// Each gap between the lines that are there is told in its place, and nothing else.
TEST(LogOnAFullDisk, EveryLineIsThereOrCounted) {
    for (std::uint64_t seed = 0; seed < 120; ++seed) {
        SCOPED_TRACE(seed);
        Dice dice(seed);
        FullDisk disk;
        for (int step = 0; step < 40; ++step) {
            for (int i = dice.Below(4); i > 0; --i) {
                disk.Append(dice.Below(100));
            }
            if (dice.OneIn(6)) {
                disk.DropOldest(static_cast<std::uint64_t>(dice.Below(200)));
            }
            if (dice.OneIn(3)) {
                disk.most = dice.OneIn(2) ? RLIM_INFINITY
                                          : disk.Size() + static_cast<unsigned>(dice.Below(300));
            }
            disk.now += std::chrono::milliseconds(dice.Pick<int>({0, 0, 1, 999, 1000}));
            disk.Write();
            if (dice.OneIn(10)) {
                const Room room(disk.most);
                disk.file->Retry(disk.now);
            }
            if (dice.OneIn(20)) {
                disk.TakeAway(dice.OneIn(2));
            }
        }
        testing::internal::CaptureStderr();
        {
            const Room room(disk.most);
            disk.file->Finish();
        }
        const std::string told = testing::internal::GetCapturedStderr();
        unsigned long long atTheEnd = 0;
        if (!told.empty()) {
            ASSERT_EQ(1, std::sscanf(told.c_str(), "core: %llu lines lost: ", &atTheEnd)) << told;
            EXPECT_GT(atTheEnd, 0u);
        }
        disk.file.reset();
        std::size_t next = 0;
        std::size_t lost = 0;
        std::size_t stamp = 0;
        std::istringstream text(disk.All());
        std::string line;
        while (std::getline(text, line)) {
            SCOPED_TRACE(line);
            unsigned long long count = 0;
            const std::string rest = line.substr(line.rfind(']') + 1);
            const std::size_t before = stamp;
            ASSERT_EQ(1, std::sscanf(line.c_str(), "[%*[^]]][%*[^]]][%zu]", &stamp));
            EXPECT_LE(before, stamp);
            if (line.rfind("[Error]", 0) == 0) {
                ASSERT_EQ(1, std::sscanf(rest.c_str(), "%llu lines lost: the ", &count));
                next += count;
                lost += count;
            } else {
                ASSERT_EQ(next, stamp);
                ASSERT_EQ(disk.lines.at(next++), line);
            }
        }
        EXPECT_EQ(disk.lines.size(), next + atTheEnd);
        EXPECT_EQ(disk.counters.lostLines, lost + atTheEnd);
    }
}

TEST(LogOnAFullDisk, IsTriedAgainASecondLater) {
    FullDisk disk;
    const auto grows = [&](int milliseconds) {
        const std::uintmax_t before = disk.Size();
        disk.now += std::chrono::milliseconds(milliseconds);
        disk.Append(7);
        disk.Write();
        return disk.Size() > before;
    };
    EXPECT_TRUE(grows(0));
    disk.most = disk.Size();
    EXPECT_FALSE(grows(0));
    EXPECT_FALSE(grows(1000));
    disk.most = RLIM_INFINITY;
    EXPECT_FALSE(grows(999));
    EXPECT_TRUE(grows(1));
}

/// The number of threads of this process with a name, or of all; each that has it must block
/// signals.
std::ptrdiff_t CountThreads(const std::string& name = "") {
    std::ptrdiff_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        const std::string text(std::istreambuf_iterator<char>(status), {});
        const bool isNamed = text.rfind("Name:\t" + name + "\n", 0) == 0;
        EXPECT_FALSE(isNamed && text.find("SigBlk:\t0000000000000000") != text.npos);
        count += isNamed || name.empty() ? 1 : 0;
    }
    return count;
}

TEST(LogThreads, AreOneForAllModulesAndOneForATimeline) {
    const std::ptrdiff_t all = CountThreads();
    const std::ptrdiff_t named = CountThreads("core log");
    auto& log = *new core::ZylLogWrapperManager;  // never destroyed, like that of the process
    testing::internal::CaptureStdout();
    for (int i = 0; i < 10; ++i) {
        log.SetLevel(std::to_string(i).c_str(), i);
    }
    testing::internal::GetCapturedStdout();
    const support::ScratchDirectory scratch;
    ASSERT_EQ(0, CoreTimelineStart(scratch.Path("t").c_str(), 0));
    EXPECT_EQ(all + 2, CountThreads());
    // A thread names itself.
    const auto await = [](const char* name, std::ptrdiff_t count) {
        for (int i = 0; i < 10'000 && CountThreads(name) != count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(count, CountThreads(name)) << name;
    };
    await("core log", named + 1);
    await("core timeline", 1);
    CoreTimelineStop();
    log.Shutdown();
    // The system may list a thread for a moment after its end.
    await("", all);
}

}  // namespace
