#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/line_queue.h"
#include "core/platform/platform.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <regex>
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

/// The files of a module's log: DIRECTORY/PREFIX_TIME.log, one of them open.
///
/// It only ever appends, so that a name that comes up again (within a second, in
/// another process, after the clock was set back) loses nothing. When a write fails,
/// as on a full disk, the lines are counted and dropped; it tries again within
/// seconds, ends the line that was cut, and writes how many are missing. When a new
/// file can't be opened, it stays with the old one.
///
/// One thread at a time, but for `SetPrefix`.
class RotatingFile {
public:
    using Clock = std::chrono::steady_clock;

    /// `directory` is absolute and ends in a separator.
    RotatingFile(std::string directory, FileLimits limits, std::string prefix);
    ~RotatingFile();
    RotatingFile(const RotatingFile&) = delete;
    RotatingFile& operator=(const RotatingFile&) = delete;

    /// Opens the first file, with the directories that are missing. An error that may
    /// pass (no room, no handles) leaves a file that keeps trying, and counts as success.
    platform::SystemError Open();
    /// What the files that are opened from now on begin with. From any thread.
    void SetPrefix(std::string newPrefix);

    /// Writes the front of `queue` and removes it, or drops and counts it.
    void WriteFront(LineQueue& queue, Clock::time_point now);
    /// Begins a new file and removes old ones where that is due; looks at most every
    /// 1.501 s.
    void Rotate(Clock::time_point now);
    /// Tries at once what `WriteFront` would try again in a while.
    void Retry(Clock::time_point now);

    bool HasNotice() const noexcept { return !notice.empty(); }
    /// Something to tell the user, once.
    std::string TakeNotice() { return std::exchange(notice, {}); }

    /// Writes what is left of `queue` in a process whose other threads are gone:
    /// without a lock, without memory, and without a line twice.
    void WriteAtTheEnd(LineQueue& queue) noexcept;

private:
    platform::AppendFile& Current() noexcept { return files[current]; }
    platform::SystemError OpenNext();
    bool WriteAll(std::string_view text, std::size_t& written) noexcept;
    bool WriteCutLine();
    bool Recover(Clock::time_point now);
    void Fail(const LineSpan& span, std::size_t written, Clock::time_point now);
    void BeginNextIfDue(Clock::time_point now);
    const std::regex* Expression();
    void RemoveOldFiles();

    const std::string directory;
    const FileLimits limits;

    Mutex prefixMutex;
    std::string nextPrefix CORE_GUARDED_BY(prefixMutex);

    // The open file and room for the next one: they change places in one step, so
    // that one of them is the open file whenever the process ends.
    std::array<platform::AppendFile, 2> files;
    std::atomic<std::size_t> current = 0;
    std::string path;
    /// The prefix of the open file.
    std::string prefix;
    /// As far as we know: others may append too.
    std::uint64_t size = 0;
    std::optional<Clock::time_point> lastCheck;

    bool isFailing = false;
    Clock::time_point nextTry;
    /// The rest of the line that was cut when a write failed.
    std::string cutLine;
    std::uint64_t lostLines = 0;

    /// The expression for `expressionPrefix`; none if that is no regular expression.
    std::optional<std::regex> expression;
    std::optional<std::string> expressionPrefix;
    std::string notice;
};

}  // namespace core
