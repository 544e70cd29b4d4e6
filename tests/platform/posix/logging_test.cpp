// The log on a disk that takes no more, from any byte on, and takes more again; what comes to
// the disk; images read in pieces; and timelines of forked processes.

#include "core/logging/rotating_file.h"

#include <core/foundation/text_encoding.h>
#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <core/logging/timeline.h>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/posix/no_threads.h"
#include "support/dice.h"
#include "support/image_file.h"
#include "support/logged.h"
#include "support/scratch_directory.h"

namespace {
std::atomic<int> syncs = 0;
std::atomic<std::size_t> mostAtOnce = SIZE_MAX;
}  // namespace

// Counts what is to come to the disk.
int fsync(int file) {
    ++syncs;
    return static_cast<int>(syscall(SYS_fsync, file));
}

// Some file systems read less than they are asked for.
ssize_t pread(int file, void* data, std::size_t size, off_t offset) {
    return syscall(SYS_pread64, file, data, std::min(size, mostAtOnce.load()), offset);
}

namespace {

using core::RotatingFile;
using support::PathOf;

/// Numbered lines on their way to a file of a disk with little room.
class FullDisk {
public:
    FullDisk() {
        core::platform::MakeFileSizeLimitAnError();
        file->CountIn(counters);
        EXPECT_EQ(0u, file->Open());
    }
    /// While `action` runs, no file of this process takes a byte behind `most`.
    void WithRoom(const std::function<void()>& action) const {
        rlimit usual{};
        getrlimit(RLIMIT_FSIZE, &usual);
        const rlimit limit{std::min(most, usual.rlim_cur), usual.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        action();
        setrlimit(RLIMIT_FSIZE, &usual);
    }
    void Append(int length) {
        char stamp[24];
        std::snprintf(stamp, sizeof stamp, "%08zu", lines.size());
        lines.push_back(std::string("[Info][1][") + stamp + "][t]" +
                        std::string(static_cast<std::size_t>(length), '.'));
        queue.Append(lines.back());
    }
    void Write(int milliseconds) {
        now += std::chrono::milliseconds(milliseconds);
        while (queue.WaitingBytes() > 0) {
            WithRoom([&] { file->WriteFront(queue, now); });
        }
    }
    void Rotate() {
        now += std::chrono::milliseconds(1501);
        WithRoom([&] { file->Rotate(now); });
    }
    /// Somebody moves the open file, or removes it.
    void TakeAway(bool isKept) {
        Rotate();  // sees it in its place
        const std::string text = WholeLines();
        const std::filesystem::path away = PathOf(scratch.Path("away"));
        std::filesystem::rename(Open(), away);
        isKept ? void() : void(std::filesystem::remove(away));
        Append(20);
        Write(0);
        Rotate();
        before += isKept ? WholeLines(away) : text;
    }
    std::filesystem::path Open() const { return PathOf(scratch.Path(scratch.Names().back())); }
    /// What standard error is told of lines that are lost.
    std::string Told(std::size_t count) const {
        return count == 0
                   ? ""
                   : "core: " + std::to_string(count) + " lines lost: " + Open().string() + "\n";
    }
    std::uintmax_t Size() const { return std::filesystem::file_size(Open()); }
    std::string WholeLines(const std::filesystem::path& path) const {
        const std::string text = scratch.Read(support::Utf8Of(path.filename()));
        return text.substr(0, text.rfind('\n') + 1);
    }
    std::string WholeLines() const { return WholeLines(Open()); }

    const support::ScratchDirectory scratch;
    core::LineQueue queue;
    core::FileCounters counters;
    std::unique_ptr<RotatingFile> file =
        std::make_unique<RotatingFile>(scratch.Path() + "/", core::FileLimits{}, "m");
    RotatingFile::Clock::time_point now = RotatingFile::Clock::now();
    rlim_t most = RLIM_INFINITY;
    std::vector<std::string> lines;
    std::string before;
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
                const auto dropped = disk.queue.DropOldest(dice.Bits() % 200);
                disk.file->NoteDropped(dropped);
                disk.counters.lostLines += dropped;
            }
            if (dice.OneIn(3)) {
                disk.most = dice.OneIn(2) ? RLIM_INFINITY : disk.Size() + dice.Bits() % 300;
            }
            disk.Write(dice.Pick<int>({0, 0, 1, 999, 1000}));
            if (dice.OneIn(10)) {
                disk.WithRoom([&] { disk.file->Retry(disk.now); });
            }
            if (dice.OneIn(20)) {
                disk.TakeAway(dice.OneIn(2));
            }
        }
        testing::internal::CaptureStderr();
        disk.WithRoom([&] { disk.file->Finish(); });
        const std::string told = testing::internal::GetCapturedStderr();
        std::size_t atTheEnd = 0;
        ASSERT_EQ(told.empty() ? EOF : 1,
                  std::sscanf(told.c_str(), "core: %zu lines lost: ", &atTheEnd));
        EXPECT_EQ(disk.Told(atTheEnd).substr(0, told.size()), told);  // it may be cut too
        std::size_t next = 0;
        std::size_t lost = 0;
        std::size_t lastStamp = 0;
        std::istringstream text(disk.before + disk.WholeLines());
        for (std::string line; std::getline(text, line);) {
            SCOPED_TRACE(line);
            std::size_t stamp = 0;
            std::size_t count = 0;
            ASSERT_EQ(1, std::sscanf(line.c_str(), "[%*[^]]][%*[^]]][%zu]", &stamp));
            EXPECT_LE(std::exchange(lastStamp, stamp), stamp);
            if (std::sscanf(line.c_str() + line.rfind(']') + 1, "%zu lines lost: the ", &count) ==
                1) {
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
        disk.Append(7);
        disk.Write(milliseconds);
        return disk.Size() > before;
    };
    EXPECT_TRUE(grows(0));
    disk.most = disk.Size();
    EXPECT_FALSE(grows(0) || grows(1000));
    disk.most = RLIM_INFINITY;
    EXPECT_FALSE(grows(999));
    CoreLogSetForm(CORE_LOG_JSON);
    EXPECT_TRUE(grows(1));
    CoreLogSetForm(CORE_LOG_AS_IT_IS);
    disk.most = disk.Size();
    EXPECT_FALSE(grows(0));
    disk.most = RLIM_INFINITY;
    EXPECT_TRUE(grows(1000));
    const std::string thread = std::to_string(core::platform::CurrentThreadId());
    EXPECT_EQ(disk.lines[0] + "\n" +
                  R"({"time":"00000003","level":"Error","module":"ZYL","tag":"core",)" +
                  R"("thread":)" + thread + R"(,"message":"3 lines lost: the file took no more"})" +
                  "\n" + disk.lines[4] + "\n[Error][" + thread +
                  "][00000005][core]1 lines lost: the file took no more\n" + disk.lines[6] + "\n",
              disk.WholeLines());
}

// A file that can't be had for a passing reason is tried again too.
#if !defined(CORE_IS_SANITIZED)
TEST(LogOnAFullDisk, WithoutHandlesItComesLater) {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    FullDisk disk;
    disk.Append(1);
    disk.Write(0);
    disk.Rotate();
    RotatingFile child(disk.scratch.Path() + "/", {}, "child");
    child.Inherit(*disk.file);
    setrlimit(RLIMIT_NOFILE, &usual);
    core::LineQueue queue;
    queue.Append("[Info][1][now][t]of a child");
    child.WriteFront(queue, disk.now);
    EXPECT_EQ("[Info][1][now][t]of a child", disk.scratch.Lines("child_").at(0));
    disk.Append(1);
    disk.Write(0);
    EXPECT_NE(std::string::npos, disk.WholeLines().find("]1 lines lost: the file took no more\n" +
                                                        disk.lines[1] + "\n"));
    EXPECT_EQ(1u, disk.counters.lostLines);
}
#endif

// What a crash and the end of a process write, with room and without.
TEST(LogOnAFullDisk, AtTheEndLinesAreWholeOrTold) {
    for (const std::string way : {"crash", "end", "end in a write", "one line"}) {
        for (const bool hasRoom : {false, true}) {
            SCOPED_TRACE(way + (hasRoom ? ", room" : ""));
            FullDisk disk;
            disk.Append(9);
            disk.most = 5;
            disk.Write(0);  // cuts the line, which a crash ends
            for (int i = 0; i < 3; ++i) {
                disk.Append(i);
            }
            if (way == "end in a write") {
                core::LineSpan span = disk.queue.Hold();
                span.count = 2;
                disk.queue.Announce(span, 0);  // five bytes of which are there
            }
            disk.most = hasRoom ? RLIM_INFINITY : disk.most;
            disk.WithRoom([&] {
                way == "crash"      ? disk.file->WriteInACrash(disk.queue, 4)
                : way == "one line" ? disk.file->WriteAtTheEnd(disk.lines[1])
                                    : disk.file->WriteAtTheEnd(disk.queue);
            });
            testing::internal::CaptureStderr();
            disk.file->TellLosses();
            const std::string told = testing::internal::GetCapturedStderr();
            std::string text = disk.lines[0].substr(0, 5);
            text += way == "crash" && hasRoom ? disk.lines[0].substr(5) + "\n" : "";
            text.erase(way == "end in a write" && hasRoom ? 0 : text.size());
            for (std::size_t i = 1; i < (way == "one line" ? 2u : 4u) && hasRoom; ++i) {
                text += disk.lines[i] + "\n";
            }
            EXPECT_EQ(text, disk.scratch.Read(support::Utf8Of(disk.Open().filename())));
            const std::size_t lost = hasRoom ? 0 : way == "one line" ? 1 : 3;
            EXPECT_EQ(disk.Told(lost + (hasRoom && way == "crash" ? 0 : 1)), told);
        }
    }
}

TEST(LogToTheDisk, ComesThereOnceSomebodyAsksForIt) {
    const support::ScratchDirectory scratch;
    CoreLogSetLogSinkByModule("synced", CORE_LOG_FILE);
    const auto flush = [](int depth) { CoreLogFlushAndWait(depth, -1); };
    // A new file, which closes the one before. The log's thread may be the last that has it.
    const auto open = [&] {
        CoreLogSetFilePath("synced", scratch.Path().c_str(), 0, 9);
        flush(CORE_LOG_TO_SYSTEM);
    };
    // What each step brings to the disk.
    const std::pair<std::function<void()>, int> steps[] = {
        {open, 0}, {open, 0}, {[&] { flush(CORE_LOG_TO_DISK); }, 1}, {open, 1}};
    for (const auto& [step, expected] : steps) {
        const int before = syncs;
        step();
        EXPECT_EQ(expected, syncs - before);
    }
}

TEST(PosixLog, ADirectoryIsWhereItWasNamed) {
    const support::ScratchDirectory scratch;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(PathOf(scratch.Path()));
    const std::string inTheWay = scratch.Write("below", "");
    support::Logged([&] {
        for (const char* module : {"here", "below"}) {
            CoreLogSetLogSinkByModule(module, CORE_LOG_FILE);
        }
        CoreLogSetFilePath("below", "below", 0, 3);
        CoreLogPrintLog("here", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "x");
        std::filesystem::current_path(before);
        std::filesystem::remove(PathOf(inTheWay));
        CoreLogPrintLog("below", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "x");
    });
    ASSERT_EQ(2u, scratch.Names().size());
    EXPECT_EQ(0u, scratch.Names()[1].find("here_"));
    EXPECT_EQ(0u, scratch.Names("below").at(0).find("below_"));
}

TEST(PosixDependencies, AreReadInPiecesToo) {
    const support::ScratchDirectory scratch;
    support::ImageFile image;
    image.names = {"no-such-library-1.dll", std::string(300, 'x')};
    std::wstring path;
    core::ZYLCore_UTF8_Unicode(scratch.Write("image", image.Bytes()).c_str(), path);
    const auto check = [&] {
        return support::Logged([&] { ZYLCorePrintDependency(path.c_str()); });
    };
    check();  // begins the log
    const auto lines = check();
    EXPECT_EQ(2u, lines.size());
    mostAtOnce = 7;
    EXPECT_EQ(lines, check());
    mostAtOnce = SIZE_MAX;
}

TEST(PosixTimeline, IsRefusedWithoutAThread) {
    const support::ScratchDirectory scratch;
    const support::NoThreads noThreads;
    EXPECT_EQ(1, CoreTimelineStart(scratch.Path("none").c_str(), 0));
}

#if !defined(CORE_IS_SANITIZED)
TEST(PosixTimeline, OfAForkedProcessIsItsOwn) {
    const support::ScratchDirectory scratch;
    const auto path = [&](const char* name) { return scratch.Path(name); };
    ASSERT_EQ(0, CoreTimelineStart(path("parent").c_str(), 0));
    core::RecordTimeline(CORE_TIMELINE_INSTANT, "before");
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        bool isRight = !core::IsTimelineOn() && CoreTimelineStop() == 0;
        core::RecordTimeline(CORE_TIMELINE_INSTANT, "nowhere");
        isRight = CoreTimelineStart(path("child").c_str(), 0) == 0 && isRight;
        core::RecordTimeline(CORE_TIMELINE_INSTANT, "in the child");
        std::exit(isRight ? 0 : 1);  // which ends the recording
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    core::RecordTimeline(CORE_TIMELINE_INSTANT, "after");
    EXPECT_EQ(0u, CoreTimelineStop());
    // Threads of the process may have spans of their own.
    const auto names = [&](const char* file) {
        std::string all;
        for (const std::string& line : scratch.Lines(file)) {
            if (line.find("\"ph\":\"i\"") != line.npos) {
                all += line.substr(9, line.find('"', 9) - 9) + "|";
            }
        }
        return all;
    };
    EXPECT_EQ("before|after|", names("parent"));
    EXPECT_EQ("in the child|", names("child"));
}
#endif

}  // namespace
