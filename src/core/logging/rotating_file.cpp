#include "core/logging/rotating_file.h"

#include "core/foundation/directories.h"
#include "core/logging/line_format.h"
#include "core/logging/time_stamp.h"

#include <core/foundation/time_util.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <vector>

namespace core {
namespace {

constexpr std::chrono::milliseconds kCheckInterval(1501);
constexpr std::chrono::seconds kRetryInterval(1);
constexpr std::uint64_t kLeastMaxBytes = 0x100000;
constexpr std::uint64_t kLeastMaxFiles = 1;
constexpr int kErrorLevel = 6;

FileLimits Raised(FileLimits limits) noexcept {
    return {std::max(limits.maxBytes, kLeastMaxBytes), std::max(limits.maxFiles, kLeastMaxFiles)};
}

bool IsSameFile(const std::string& a, const std::string& b) {
    const auto pathOf = [](const std::string& text) {
        return std::filesystem::path(std::u8string(text.begin(), text.end()));
    };
    std::error_code error;
    return a == b || std::filesystem::equivalent(pathOf(a), pathOf(b), error);
}

/// The log files that this process has open. Never destroyed: files are written
/// until the very end.
class OpenPaths {
public:
    static OpenPaths& Get() {
        static OpenPaths& paths = *new OpenPaths;
        return paths;
    }
    void Add(const std::string& path) {
        const Lock lock(mutex);
        paths.insert(path);
    }
    void Remove(const std::string& path) {
        const Lock lock(mutex);
        if (const auto at = paths.find(path); at != paths.end()) {
            paths.erase(at);
        }
    }
    void RemoveFileUnlessOpen(const std::string& path) {
        const Lock lock(mutex);
        const bool isOpen = std::any_of(paths.begin(), paths.end(), [&](const std::string& open) {
            return IsSameFile(open, path);
        });
        if (!isOpen) {
            platform::RemoveFile(path);
        }
    }

private:
    Mutex mutex;
    std::multiset<std::string> paths CORE_GUARDED_BY(mutex);
};

/// The line that stands for those that are missing.
std::string LostNote(std::uint64_t lostLines) {
    const TimeStamp time;
    const std::string body = std::to_string(lostLines) + " lines lost: the file took no more";
    LineFields fields;
    fields.level = kErrorLevel;
    fields.tag = "core";
    fields.threadId = platform::CurrentThreadId();
    fields.time = time.View();
    fields.body = body;
    PatternBuffer pattern;
    AppendPattern(fields, pattern);
    LineBuffer line;
    ExpandPattern(pattern.View(), fields, Colour::No, line);
    line.Append('\n');
    return std::string(line.View());
}

}  // namespace

RotatingFile::RotatingFile(std::string inDirectory, FileLimits withLimits, std::string withPrefix)
    : directory(std::move(inDirectory)),
      limits(Raised(withLimits)),
      nextPrefix(std::move(withPrefix)) {}

RotatingFile::~RotatingFile() {
    try {
        Retry(Clock::now());
    } catch (const std::exception&) {
        // Without memory there is no line about those that are lost.
    }
    if (Current().IsOpen()) {
        OpenPaths::Get().Remove(path);
    }
}

platform::SystemError RotatingFile::Open() {
    const platform::SystemError error = OpenNext();
    if (error != 0 && platform::MayPass(error)) {
        isFailing = true;
        return 0;
    }
    return error;
}

void RotatingFile::SetPrefix(std::string newPrefix) {
    const Lock lock(prefixMutex);
    nextPrefix = std::move(newPrefix);
}

platform::SystemError RotatingFile::OpenNext() {
    std::string newPrefix;
    {
        const Lock lock(prefixMutex);
        newPrefix = nextPrefix;
    }
    const std::string newPath = directory + newPrefix + "_" + TimeUtil::now("") + ".log";
    // A prefix may name directories too. What is still missing, opening finds.
    MakeDirectories(newPath.substr(0, newPath.find_last_of("/\\")));
    // Known as open before it exists, so that no clean-up comes between.
    OpenPaths::Get().Add(newPath);
    const std::size_t other = 1 - current;
    if (const platform::SystemError error = files[other].Open(newPath)) {
        OpenPaths::Get().Remove(newPath);
        return error;
    }
    files[other].Size(size);
    current = other;
    if (files[1 - other].IsOpen()) {
        files[1 - other].Close();
        OpenPaths::Get().Remove(path);
    }
    path = newPath;
    prefix = newPrefix;
    return 0;
}

bool RotatingFile::WriteAll(std::string_view text, std::size_t& written) noexcept {
    // An interrupted call is no failure; one more try tells them apart.
    constexpr int kTries = 2;
    written = 0;
    for (int failures = 0; written < text.size() && failures < kTries;) {
        std::size_t count = 0;
        const platform::SystemError error =
            Current().Write(text.data() + written, text.size() - written, count);
        written += count;
        size += count;
        failures = error == 0 && count > 0 ? 0 : failures + 1;
    }
    return written == text.size();
}

void RotatingFile::WriteFront(LineQueue& queue, Clock::time_point now) {
    const LineSpan span = queue.Front();
    if (span.count == 0) {
        return;
    }
    const bool isDropped = isFailing && (now < nextTry || !Recover(now));
    // Those that are dropped too: the end of a process finds its way by it.
    queue.Announce(span, size);
    std::size_t written = 0;
    if (isDropped) {
        lostLines += span.count;
    } else if (!WriteAll(span.Text(), written)) {
        Fail(span, written, now);
    }
    queue.Remove(span);
}

void RotatingFile::Fail(const LineSpan& span, std::size_t written, Clock::time_point now) {
    cutLine.clear();
    isFailing = true;
    nextTry = now + kRetryInterval;
    const std::size_t stop = span.firstByte + written;
    const std::uint32_t* const end = span.ends + span.count;
    const std::uint32_t* at = std::upper_bound(span.ends, end, stop);
    const std::size_t begin = at == span.ends ? span.firstByte : *(at - 1);
    if (at != end && begin < stop) {
        cutLine.assign(span.bytes + stop, *at - stop);
        ++at;
    }
    lostLines += static_cast<std::uint64_t>(end - at);
}

bool RotatingFile::WriteCutLine() {
    std::size_t written = 0;
    const bool isDone = WriteAll(cutLine, written);
    cutLine.erase(0, written);
    return isDone;
}

bool RotatingFile::Recover(Clock::time_point now) {
    nextTry = now + kRetryInterval;
    if (!Current().IsOpen() && OpenNext() != 0) {
        return false;
    }
    if (!cutLine.empty() && !WriteCutLine()) {
        return false;
    }
    if (lostLines > 0) {
        const std::string note = LostNote(lostLines);
        cutLine = note;
        if (!WriteCutLine()) {
            if (cutLine.size() == note.size()) {
                cutLine.clear();
            } else {
                lostLines = 0;
            }
            return false;
        }
        lostLines = 0;
    }
    isFailing = false;
    return true;
}

void RotatingFile::Retry(Clock::time_point now) {
    if (isFailing) {
        Recover(now);
    }
}

void RotatingFile::Rotate(Clock::time_point now) {
    if (lastCheck && now - *lastCheck < kCheckInterval) {
        return;
    }
    // Stored first: whatever happens below, the next check waits its time.
    lastCheck = now;
    if (!Current().IsOpen()) {
        return;
    }
    try {
        BeginNextIfDue(now);
        RemoveOldFiles();
    } catch (const std::exception&) {
        // No memory, or an expression that is too hard: the open file goes on.
    }
}

void RotatingFile::BeginNextIfDue(Clock::time_point now) {
    Current().Size(size);
    // A file whose directory was removed takes lines that nobody can read.
    if (size >= limits.maxBytes || !platform::Exists(path)) {
        Retry(now);
        // Where no new file can be had, the old one goes on.
        if (OpenNext() == 0 && isFailing) {
            lostLines += cutLine.empty() ? 0u : 1u;
            cutLine.clear();
            nextTry = now;
        }
    }
}

const std::regex* RotatingFile::Expression() {
    if (expressionPrefix != prefix) {
        expressionPrefix = prefix;
        expression.reset();
        try {
            // Kept on purpose: the prefix goes in as it stands; hosts name modules so
            // that one finds the files of several.
            expression.emplace("^(" + prefix + "_)([\\w\\W]+)(\\.log)$");
        } catch (const std::regex_error&) {
            notice =
                "log prefix \"" + prefix + "\" is no regular expression: its old files are kept";
        }
    }
    return expression ? &*expression : nullptr;
}

void RotatingFile::RemoveOldFiles() {
    const std::regex* const own = Expression();
    if (own == nullptr) {
        return;
    }
    std::vector<platform::DirectoryEntry> entries;
    platform::ListDirectory(directory, entries);
    std::vector<std::string> names;
    for (const platform::DirectoryEntry& entry : entries) {
        if (!entry.isDirectory && std::regex_match(entry.name, *own)) {
            names.push_back(entry.name);
        }
    }
    if (names.size() <= limits.maxFiles) {
        return;
    }
    std::sort(names.begin(), names.end());
    names.resize(names.size() - static_cast<std::size_t>(limits.maxFiles));
    for (const std::string& name : names) {
        OpenPaths::Get().RemoveFileUnlessOpen(directory + name);
    }
}

void RotatingFile::WriteAtTheEnd(LineQueue& queue) noexcept {
    if (!Current().IsOpen()) {
        return;
    }
    LineSpan span;
    std::uint64_t sizeBefore = 0;
    std::size_t written = 0;
    if (queue.WasCutShort(span, sizeBefore)) {
        // How far the write came, the file knows.
        std::uint64_t sizeNow = sizeBefore;
        Current().Size(sizeNow);
        const std::uint64_t arrived = sizeNow > sizeBefore ? sizeNow - sizeBefore : 0;
        const std::string_view text = span.Text();
        WriteAll(text.substr(std::min<std::uint64_t>(arrived, text.size())), written);
    }
    for (span = queue.TakeAtTheEnd(); span.count > 0; span = queue.TakeAtTheEnd()) {
        WriteAll(span.Text(), written);
    }
}

}  // namespace core
