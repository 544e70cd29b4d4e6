#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/file_prefix.h"
#include "core/logging/line_queue.h"
#include "core/platform/platform.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace core {

struct FileLimits {
    /// A file that has reached this size is followed by a new one.
    std::uint64_t maxBytes = 0x500000;
    /// Files that are kept.
    std::uint64_t maxFiles = 3;
};

/// What came to pass with a module's files; counts on over files and channels.
struct FileCounters {
    std::atomic<std::uint64_t> bytes = 0;
    std::atomic<std::uint64_t> files = 0;
    std::atomic<std::uint64_t> lostLines = 0;
    std::atomic<std::uint64_t> longestWaitNanos = 0;
};

/// The files of a module's log: DIRECTORY/PREFIX_TIME.log, one of them open.
///
/// It only ever appends, so that a name that comes up again (within a second, in
/// another process, after the clock was set back) loses nothing. When a write fails,
/// as on a full disk, the lines are counted and dropped; it tries again within
/// seconds, ends the line that was cut, and writes how many are missing. When a new
/// file can't be opened, it stays with the old one. Lines that went down with a file
/// which somebody removed are counted too.
///
/// What it removes itself are old files that no process has open.
///
/// One thread at a time, but for `SetPrefix`.
class RotatingFile {
public:
    using Clock = std::chrono::steady_clock;

    /// `directory` is absolute and ends in a separator.
    RotatingFile(std::string directory, FileLimits limits, const std::string& prefix);
    ~RotatingFile();
    RotatingFile(const RotatingFile&) = delete;
    RotatingFile& operator=(const RotatingFile&) = delete;

    /// Opens the first file, with the directories that are missing. An error that may
    /// pass (no room, no handles) leaves a file that keeps trying, and counts as success.
    platform::SystemError Open();
    /// In a forked child: goes on in the file that is open in its copy of the parent's
    /// object, wherever the parent's threads stood.
    void Inherit(RotatingFile& parents);
    /// What the files that are opened from now on begin with. From any thread.
    void SetPrefix(const std::string& newPrefix);

    /// Counts in `toFill` from now on, which outlives it.
    void CountIn(FileCounters& toFill) noexcept { counters = &toFill; }
    /// So many lines found no room in a full queue, from what is written next on.
    void NoteDropped(std::uint64_t lines) noexcept { droppedLines += lines; }
    /// Writes the front of `queue` and removes it, or drops and counts it.
    void WriteFront(LineQueue& queue, Clock::time_point now);
    /// Begins a new file and removes old ones where that is due; looks at most every
    /// 1.501 s.
    void Rotate(Clock::time_point now);
    /// Tries at once what `WriteFront` would try again in a while.
    void Retry(Clock::time_point now);
    /// Whether all lines that were written can be read by others.
    bool IsWhole() const noexcept { return !isFailing && !files[current].file.IsRemoved(); }
    /// Waits until the disk has what was written.
    void SyncToDisk() noexcept { Current().Flush(); }

    // For all files, from now on.

    /// No file is closed before the disk has it.
    static void SyncWhenClosed() noexcept;
    /// New files are the user's alone.
    static void SetPrivate(bool isOn) noexcept;
    /// No file grows beyond its limit, but for a line that does so alone.
    static void SetExact(bool isOn) noexcept;
    /// Lines about lines are JSON objects.
    static void SetJson(bool isOn) noexcept;

    /// Something to tell the user, once; from any thread.
    std::string TakeNotice();
    /// For the end: tries once more to write what is missing, and says on standard error
    /// how many lines are lost that no file was told of. Brings no directory back.
    void Finish() noexcept;

    /// In a crash: writes the lines of `queue` up to number `until`, without memory.
    void WriteInACrash(LineQueue& queue, std::uint64_t until) noexcept;
    /// Writes what is left of `queue` in a process whose other threads are gone:
    /// without a lock, without memory, and without a line twice.
    void WriteAtTheEnd(LineQueue& queue) noexcept;
    /// Likewise, a line that comes afterwards.
    void WriteAtTheEnd(std::string_view line) noexcept;
    /// Says on standard error how many lines are lost that no file was told of.
    void TellLosses() noexcept;

private:
    using Prefix = std::shared_ptr<const FilePrefix>;
    struct OpenFile {
        platform::AppendFile file;
        std::string path;
        Prefix prefix;
    };

    static FileCounters unasked;

    platform::AppendFile& Current() noexcept { return files[current].file; }
    /// Opens another file; with an exact limit, one that has `room` bytes left or is empty.
    platform::SystemError OpenNext(std::uint64_t room = 1);
    platform::SystemError OpenAt(OpenFile& next, const std::string& begin, std::uint64_t room);
    /// The lines of `span` that fit into the open file, or into a new one; one at least.
    LineSpan WhatFits(LineSpan span);
    static void Close(platform::AppendFile& file) noexcept;
    bool WriteAll(std::string_view text, std::size_t& written) noexcept;
    bool WriteCutLine() noexcept;
    /// What is left of a line that was cut never comes.
    void GiveUpCutLine() noexcept;
    /// Tells of `lines` in a line, unless they are none; they are 0 once a byte of it is there.
    bool WriteNote(std::uint64_t& lines, const char* reason);
    bool Recover(Clock::time_point now);
    void Fail(const LineSpan& span, std::size_t written, Clock::time_point now);
    bool IsInPlace();
    void BeginNextIfDue(Clock::time_point now);
    void RemoveOldFiles();

    const std::string directory;
    const FileLimits limits;

    Mutex prefixMutex;
    Prefix nextPrefix CORE_GUARDED_BY(prefixMutex);
    std::string notice CORE_GUARDED_BY(prefixMutex);

    // The open file and room for the next one: they change places in one step, so
    // that one of them is the open file whenever the process ends.
    std::array<OpenFile, 2> files;
    std::atomic<std::size_t> current = 0;
    /// The name of the newest file but for its number within the second, and that.
    std::string lastBegin;
    int lastNumber = 0;
    /// As far as we know: others may append too.
    std::uint64_t size = 0;
    std::optional<Clock::time_point> lastCheck;

    bool isFailing = false;
    Clock::time_point nextTry;
    /// The rest of the line that was cut when a write failed, and how many lines it tells of;
    /// 0 where it is not ours.
    std::string cutLine;
    std::uint64_t linesTold = 0;
    /// Lines that the file took no more, and lines that went down with a removed file.
    std::uint64_t refusedLines = 0;
    std::uint64_t sunkLines = 0;
    /// Lines that a full queue had no room for.
    std::uint64_t droppedLines = 0;
    FileCounters* counters = &unasked;
    /// Lines written since the file was last seen in its place, and those that ours told of.
    std::uint64_t unseenLines = 0;
    std::uint64_t unseenTold = 0;
    /// The stamp of the last line that was written or lost, for those that tell of others:
    /// stamps never go backwards.
    std::string lastTime;
};

}  // namespace core
