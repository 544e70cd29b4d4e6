#include "core/logging/rotating_file.h"

#include "core/foundation/directories.h"
#include "core/logging/line_format.h"

#include <core/foundation/time_util.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <vector>

namespace core {
namespace {

constexpr std::chrono::milliseconds kCheckInterval(1501);
constexpr std::chrono::seconds kRetryInterval(1);
constexpr std::uint64_t kLeastMaxBytes = 0x100000;
constexpr std::uint64_t kLeastMaxFiles = 1;
constexpr int kErrorLevel = 6;
std::atomic<bool> isSyncedWhenClosed = false;
std::atomic<bool> isPrivate = false;
std::atomic<bool> isExact = false;
std::atomic<bool> isJson = false;
/// Of the time in a line.
constexpr std::size_t kLongestTime = 64;

FileLimits Raised(FileLimits limits) noexcept {
    return {std::max(limits.maxBytes, kLeastMaxBytes), std::max(limits.maxFiles, kLeastMaxFiles)};
}

/// The line that stands for those that are missing.
std::string LossNote(std::uint64_t lines, const char* reason, std::string_view time) {
    const std::string body = std::to_string(lines) + " lines lost: the " + reason;
    LineFields fields;
    fields.level = kErrorLevel;
    fields.tag = "core";
    fields.threadId = platform::CurrentThreadId();
    fields.time = time;
    fields.module = "ZYL";
    fields.isJson = isJson;
    fields.body = body;
    LineBuffer line;
    ExpandLine(fields, Colour::No, line);
    line.Append('\n');
    return std::string(line.View());
}

/// The text of the last line.
std::string_view LastLineOf(const LineSpan& span) noexcept {
    const std::uint32_t begin = span.count > 1 ? span.ends[span.count - 2] : span.firstByte;
    return {span.bytes + begin, span.ends[span.count - 1] - begin};
}

}  // namespace

RotatingFile::RotatingFile(std::string inDirectory, FileLimits withLimits,
                           const std::string& withPrefix)
    : directory(std::move(inDirectory)), limits(Raised(withLimits)) {
    SetPrefix(withPrefix);
    // A failed write must not fail again for memory.
    lastTime.reserve(kLongestTime);
}

RotatingFile::~RotatingFile() {
    Finish();
    Close(Current());
}

void RotatingFile::Finish() noexcept {
    try {
        const Clock::time_point now = Clock::now();
        if (Current().IsOpen() && !IsInPlace() && sunkLines > 0 &&
            platform::IsDirectory(directory) && OpenNext() == 0) {
            Recover(now);
        } else {
            Retry(now);
        }
    } catch (const std::exception&) {
        // Without memory there is no line about those that are lost.
    }
    TellLosses();
}

platform::SystemError RotatingFile::Open() {
    const platform::SystemError error = OpenNext();
    if (error != 0 && platform::MayPass(error)) {
        isFailing = true;
        return 0;
    }
    return error;
}

void RotatingFile::Inherit(RotatingFile& parents) {
    OpenFile& theirs = parents.files[parents.current];
    OpenFile& ours = files[current];
    ours.path = theirs.path;
    ours.prefix = theirs.prefix;
    ours.file = std::move(theirs.file);
    // The one that the parent was about to close.
    parents.files[1 - parents.current].file.Close();
    isFailing = !ours.file.IsOpen();
    ours.file.Size(size);
    lastCheck = Clock::now();
}

void RotatingFile::SetPrefix(const std::string& newPrefix) {
    auto made = std::make_shared<const FilePrefix>(newPrefix);
    const Lock lock(prefixMutex);
    notice = made->Notice();
    nextPrefix = std::move(made);
}

std::string RotatingFile::TakeNotice() {
    const Lock lock(prefixMutex);
    return std::exchange(notice, {});
}

platform::SystemError RotatingFile::OpenNext(std::uint64_t room) {
    OpenFile& next = files[1 - current];
    {
        const Lock lock(prefixMutex);
        next.prefix = nextPrefix;
    }
    MakeDirectories(directory);
    if (const platform::SystemError error =
            OpenAt(next, directory + next.prefix->Text() + "_" + TimeUtil::now(""), room)) {
        return error;
    }
    unseenLines = 0;
    unseenTold = 0;
    ++counters->files;
    current = 1 - current;
    Close(files[1 - current].file);
    return 0;
}

platform::SystemError RotatingFile::OpenAt(OpenFile& next, const std::string& begin,
                                           std::uint64_t room) {
    constexpr int kTries = 5;
    constexpr int kMostOfASecond = 999;
    // Lines never go back to an earlier file.
    int number = isExact && begin == lastBegin ? std::min(lastNumber + 1, kMostOfASecond) : 0;
    for (;; ++number) {
        const std::string digits = std::to_string(kMostOfASecond + 1 + number).substr(1);
        next.path = begin;
        if (number > 0) {
            next.path.append("_").append(digits);
        }
        next.path.append(".log");
        const auto access = isPrivate ? platform::FileAccess::Private : platform::FileAccess::Usual;
        platform::SystemError error = next.file.Open(next.path, access);
        for (int i = 1; i < kTries && platform::IsBusy(error); ++i) {
            platform::SleepMilliseconds(1);
            error = next.file.Open(next.path, access);
        }
        if (error != 0) {
            return error;
        }
        next.file.Size(size);
        const bool hasRoom = size == 0 || size + room <= limits.maxBytes;
        if (!isExact || hasRoom || number >= kMostOfASecond) {
            lastBegin = begin;
            lastNumber = number;
            return 0;
        }
    }
}

void RotatingFile::SetPrivate(bool isOn) noexcept {
    isPrivate = isOn;
}

void RotatingFile::SetExact(bool isOn) noexcept {
    isExact = isOn;
}

void RotatingFile::SetJson(bool isOn) noexcept {
    isJson = isOn;
}

FileCounters RotatingFile::unasked;

LineSpan RotatingFile::WhatFits(LineSpan span) {
    const auto fitting = [&] {
        std::uint32_t count = span.count;
        while (count > 0 && size + span.ends[count - 1] - span.firstByte > limits.maxBytes) {
            --count;
        }
        return count;
    };
    std::uint32_t count = fitting();
    if (count == 0 && size > 0) {
        // Where no new file can be had, lines wait for none: the old one goes on.
        if (OpenNext(span.ends[0] - span.firstByte) == 0) {
            lastCheck.reset();
            count = fitting();
        } else {
            count = span.count;
        }
    }
    span.count = std::max(count, 1U);
    return span;
}

void RotatingFile::SyncWhenClosed() noexcept {
    isSyncedWhenClosed = true;
}

void RotatingFile::Close(platform::AppendFile& file) noexcept {
    if (file.IsOpen() && isSyncedWhenClosed) {
        file.Flush();
    }
    file.Close();
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
        counters->bytes.fetch_add(count, std::memory_order_relaxed);
        failures = error == 0 && count > 0 ? 0 : failures + 1;
    }
    return written == text.size();
}

void RotatingFile::WriteFront(LineQueue& queue, Clock::time_point now) {
    LineSpan span = queue.Hold();
    if (span.count == 0) {
        return;
    }
    if (droppedLines > 0 && lastTime.empty()) {
        const std::uint32_t begin = span.firstByte;
        lastTime = TimeIn({span.bytes + begin, span.ends[0] - begin}).substr(0, kLongestTime);
    }
    if (droppedLines > 0 && !isFailing) {
        Recover(now);
    }
    const bool isDropped = isFailing && (now < nextTry || !Recover(now));
    if (isExact && !isDropped) {
        span = WhatFits(span);
    }
    // Those that are dropped too: the end of a process finds its way by it.
    queue.Announce(span, size);
    std::size_t written = 0;
    if (isDropped) {
        refusedLines += span.count;
        counters->lostLines += span.count;
    } else if (WriteAll(span.Text(), written)) {
        unseenLines += span.count;
    } else {
        Fail(span, written, now);
    }
    lastTime = TimeIn(LastLineOf(span)).substr(0, kLongestTime);
    queue.Remove(span);
}

void RotatingFile::Fail(const LineSpan& span, std::size_t written, Clock::time_point now) {
    isFailing = true;
    nextTry = now + kRetryInterval;
    cutLine.clear();
    const std::size_t stop = span.firstByte + written;
    const std::uint32_t* const end = span.ends + span.count;
    const std::uint32_t* at = std::upper_bound(span.ends, end, stop);
    const std::size_t begin = at == span.ends ? span.firstByte : *(at - 1);
    unseenLines += static_cast<std::uint64_t>(at - span.ends);
    if (at != end && begin < stop) {
        cutLine.assign(span.bytes + stop, *at - stop);
        linesTold = 0;
        ++at;
    }
    const auto left = static_cast<std::uint64_t>(end - at);
    refusedLines += left;
    counters->lostLines += left;
}

bool RotatingFile::WriteCutLine() noexcept {
    std::size_t written = 0;
    const bool isDone = WriteAll(cutLine, written);
    cutLine.erase(0, written);
    if (isDone) {
        unseenLines += linesTold == 0 ? 1u : 0u;
        unseenTold += linesTold;
    }
    return isDone;
}

void RotatingFile::GiveUpCutLine() noexcept {
    if (!cutLine.empty()) {
        counters->lostLines += linesTold == 0 ? 1u : 0u;
        refusedLines += std::max<std::uint64_t>(linesTold, 1);
        cutLine.clear();
    }
}

bool RotatingFile::WriteNote(std::uint64_t& lines, const char* reason) {
    if (lines == 0) {
        return true;
    }
    std::string note = LossNote(lines, reason, lastTime);
    if (isExact && size + note.size() > limits.maxBytes) {
        OpenNext(note.size());
    }
    const std::size_t whole = note.size();
    cutLine = std::move(note);
    linesTold = lines;
    const bool isDone = WriteCutLine();
    if (cutLine.size() < whole) {
        lines = 0;
    } else {
        cutLine.clear();
    }
    return isDone;
}

bool RotatingFile::Recover(Clock::time_point now) {
    nextTry = now + kRetryInterval;
    if (!Current().IsOpen() && OpenNext() != 0) {
        return false;
    }
    isFailing =
        !((cutLine.empty() || WriteCutLine()) && WriteNote(droppedLines, "queue was full") &&
          WriteNote(refusedLines, "file took no more") && WriteNote(sunkLines, "file was removed"));
    return !isFailing;
}

void RotatingFile::Retry(Clock::time_point now) {
    if (isFailing || (droppedLines > 0 && !lastTime.empty())) {
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
        // No memory: the open file goes on.
    }
}

bool RotatingFile::IsInPlace() {
    if (Current().IsRemoved()) {
        // They lie where nobody can read them.
        if (unseenLines + unseenTold > 0) {
            counters->lostLines += unseenLines;
            sunkLines += std::exchange(unseenLines, 0) + std::exchange(unseenTold, 0);
        }
        return false;
    }
    unseenLines = 0;
    unseenTold = 0;
    return platform::Exists(files[current].path);
}

void RotatingFile::BeginNextIfDue(Clock::time_point now) {
    Current().Size(size);
    if (IsInPlace() && size < limits.maxBytes) {
        return;
    }
    Retry(now);
    // Where no new file can be had, the old one goes on.
    if (OpenNext() == 0) {
        GiveUpCutLine();
        Recover(now);
    }
}

void RotatingFile::RemoveOldFiles() {
    const FilePrefix& own = *files[current].prefix;
    std::vector<platform::DirectoryEntry> entries;
    platform::ListDirectory(directory, entries);
    std::vector<std::string> names;
    for (const platform::DirectoryEntry& entry : entries) {
        if (!entry.isDirectory && own.Owns(entry.name)) {
            names.push_back(entry.name);
        }
    }
    if (names.size() <= limits.maxFiles) {
        return;
    }
    std::sort(names.begin(), names.end());
    names.resize(names.size() - static_cast<std::size_t>(limits.maxFiles));
    for (const std::string& name : names) {
        platform::RemoveFileUnlessOpen(directory + name);
    }
}

void RotatingFile::TellLosses() noexcept {
    const bool isRemoved = Current().IsOpen() && Current().IsRemoved();
    GiveUpCutLine();
    const std::uint64_t lost =
        std::exchange(refusedLines, 0) + std::exchange(sunkLines, 0) +
        std::exchange(droppedLines, 0) +
        (isRemoved ? std::exchange(unseenLines, 0) + std::exchange(unseenTold, 0) : 0);
    if (lost == 0) {
        return;
    }
    // In pieces, which need no memory.
    char count[64];
    const int length = std::snprintf(
        count, sizeof count, "core: %llu lines lost: ", static_cast<unsigned long long>(lost));
    platform::WriteToStandardError({count, static_cast<std::size_t>(length)});
    const std::string& path = files[current].path;
    platform::WriteToStandardError(path.empty() ? directory : path);
    platform::WriteToStandardError("\n");
}

void RotatingFile::WriteInACrash(LineQueue& queue, std::uint64_t until) noexcept {
    std::size_t written = 0;
    if (!cutLine.empty()) {
        WriteCutLine();
    }
    while (queue.RemovedLines() < until) {
        const LineSpan span = queue.FrontInACrash();
        queue.Announce(span, size);
        if (WriteAll(span.Text(), written)) {
            unseenLines += span.count;
        } else {
            refusedLines += span.count;
        }
        queue.RemoveInACrash(span);
    }
}

void RotatingFile::WriteAtTheEnd(LineQueue& queue) noexcept {
    LineSpan span;
    std::uint64_t sizeBefore = 0;
    std::size_t written = 0;
    if (queue.WasCutShort(span, sizeBefore)) {
        // How far the write came, the file knows.
        std::uint64_t sizeNow = sizeBefore;
        Current().Size(sizeNow);
        const std::uint64_t arrived = sizeNow > sizeBefore ? sizeNow - sizeBefore : 0;
        const std::string_view text = span.Text();
        if (!WriteAll(text.substr(std::min<std::uint64_t>(arrived, text.size())), written)) {
            refusedLines += span.count;
        }
    }
    for (span = queue.TakeAtTheEnd(); span.count > 0; span = queue.TakeAtTheEnd()) {
        if (!WriteAll(span.Text(), written)) {
            refusedLines += span.count;
        }
    }
}

void RotatingFile::WriteAtTheEnd(std::string_view line) noexcept {
    std::size_t written = 0;
    if (!WriteAll(line, written) || !WriteAll("\n", written)) {
        ++refusedLines;
    }
}

}  // namespace core
