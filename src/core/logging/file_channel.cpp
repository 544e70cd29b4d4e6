#include "core/logging/file_channel.h"

#include "core/foundation/never_destroyed.h"
#include "core/foundation/report.h"

#include <chrono>
#include <exception>

namespace core {
namespace {

using Clock = RotatingFile::Clock;

/// A caller that finds more than this ahead of it waits: so much a disk takes in a
/// fraction of a second, and memory stays bounded.
constexpr std::uint64_t kMostWaitingBytes = 32 << 20;
constexpr std::chrono::seconds kLongestWaitForRoom(1);

/// A write of this size costs little more per byte than a larger one.
constexpr std::uint64_t kGoodWriteBytes = 32 << 10;
/// Callers are busy when the last write ended no longer ago than this.
constexpr std::chrono::milliseconds kBusyPause(1);

// The head of the list of living channels. Read without the mutex in a process
// whose other threads are gone: every step leaves a list that can be walked.
CORE_INIT_FIRST NeverDestroyed<Mutex> liveMutexStorage;
Mutex& liveMutex = liveMutexStorage.value;
std::atomic<BsFileChannel*> firstLive = nullptr;

std::int64_t Nanoseconds(Clock::time_point time) noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

}  // namespace

BsFileChannel::BsFileChannel(const std::string& directory, FileLimits limits,
                             const std::string& prefix)
    : file(directory, limits, prefix) {
    const Lock lock(liveMutex);
    nextChannel = firstLive.load();
    firstLive = this;
}

BsFileChannel::~BsFileChannel() {
    try {
        Flush();
    } catch (const std::exception&) {
        // No memory for what has to be remembered about a failed write.
    }
    const Lock lock(liveMutex);
    std::atomic<BsFileChannel*>* link = &firstLive;
    while (*link != this) {
        link = &link->load()->nextChannel;
    }
    *link = nextChannel.load();
}

platform::SystemError BsFileChannel::Open() {
    const Lock lock(fileMutex);
    return file.Open();
}

void BsFileChannel::SetPrefix(const std::string& prefix) CORE_NO_THREAD_SAFETY_ANALYSIS {
    // From any thread, and without waiting for a write.
    file.SetPrefix(prefix);
}

bool BsFileChannel::Append(std::string_view line, bool isUrgent) {
    queue.Append(line);
    if (isUrgent) {
        hasUrgentLine.store(true);
    }
    return !isTaskPosted.exchange(true);
}

void BsFileChannel::WaitForRoom() {
    if (queue.WaitingBytes() < kMostWaitingBytes) {
        return;
    }
    const auto deadline = Clock::now() + kLongestWaitForRoom;
    Lock lock(roomMutex);
    ++waitingForRoom;
    while (queue.WaitingBytes() >= kMostWaitingBytes && hasRoom.WaitUntil(lock, deadline)) {
    }
    --waitingForRoom;
}

void BsFileChannel::AwaitMore() const noexcept {
    const std::int64_t pause = Nanoseconds(Clock::now()) - lastWriteEnd.load();
    if (pause < Nanoseconds(Clock::time_point(kBusyPause)) && !hasUrgentLine.load() &&
        queue.WaitingBytes() < kGoodWriteBytes) {
        platform::SleepMilliseconds(1);
    }
}

void BsFileChannel::WriteWaiting() {
    Write(false);
}

void BsFileChannel::Flush() {
    Write(true);
}

void BsFileChannel::Write(bool isRetry) {
    platform::MakeFileSizeLimitAnError();
    const Lock lock(fileMutex);
    // Lines that come from here on have a task of their own.
    isTaskPosted.store(false);
    hasUrgentLine.store(false);
    if (isRetry) {
        file.Retry(Clock::now());
    }
    const std::uint64_t until = queue.AppendedLines();
    while (queue.RemovedLines() < until) {
        file.WriteFront(queue, Clock::now());
        file.Rotate(Clock::now());
        if (waitingForRoom.load() > 0 && queue.WaitingBytes() < kMostWaitingBytes) {
            const Lock roomLock(roomMutex);
            hasRoom.NotifyAll();
        }
    }
    if (file.HasNotice()) {
        hasNotice = true;
    }
    lastWriteEnd.store(Nanoseconds(Clock::now()));
}

void BsFileChannel::TellNotice() {
    if (!hasNotice.exchange(false)) {
        return;
    }
    std::string notice;
    {
        const Lock lock(fileMutex);
        notice = file.TakeNotice();
    }
    Report(ReportLevel::Warn, "core", notice.c_str());
}

void BsFileChannel::WriteAllAtTheEnd() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    for (BsFileChannel* channel = firstLive; channel != nullptr; channel = channel->nextChannel) {
        channel->file.WriteAtTheEnd(channel->queue);
    }
}

void FileChannelTask::Run() {
    channel->AwaitMore();
    channel->WriteWaiting();
    channel->TellNotice();
}

void FlushTask::Run() {
    channel->Flush();
    channel->TellNotice();
}

}  // namespace core
