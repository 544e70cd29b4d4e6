#include "core/logging/file_channel.h"

#include "core/foundation/never_destroyed.h"
#include "core/foundation/report.h"

#include <core/logging/log_files.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>

namespace core {
namespace {

using Clock = RotatingFile::Clock;

/// A caller that finds more than this ahead of it waits: so much a disk takes in a
/// fraction of a second, and memory stays bounded.
constexpr std::uint64_t kMostWaitingBytes = 32 << 20;
constexpr std::uint64_t kLeastWaitingBytes = 64 << 10;
std::atomic<std::uint64_t> mostWaitingBytes = kMostWaitingBytes;
std::atomic<int> fullQueue = CORE_LOG_WAIT;
constexpr std::chrono::seconds kLongestWaitForRoom(1);
/// What a write that another thread is in has left, in a crash.
constexpr std::chrono::seconds kLongestWaitInACrash(1);

/// A write of this size costs little more per byte than a larger one.
constexpr std::uint64_t kGoodWriteBytes = 32 << 10;
/// Callers are busy when the last write ended no longer ago than this.
constexpr std::chrono::milliseconds kBusyPause(1);
/// How long lines wait for company; some systems make more of it.
constexpr std::chrono::milliseconds kLongestNap(1);

// The head of the list of living channels. Read without the mutex in a process
// whose other threads are gone: every step leaves a list that can be walked.
CORE_INIT_FIRST NeverDestroyed<Mutex> liveMutexStorage;
Mutex& liveMutex = liveMutexStorage.value;
std::atomic<BsFileChannel*> firstLive = nullptr;

// The nap of the log worker. One for all channels: an urgent line ends it, whichever
// channel the worker is about to write.
CORE_INIT_FIRST NeverDestroyed<Mutex> napMutexStorage;
Mutex& napMutex = napMutexStorage.value;
CORE_INIT_FIRST NeverDestroyed<Condition> napEndStorage;
Condition& napEnd = napEndStorage.value;
std::atomic<int> nappers = 0;
std::atomic<int> urgentChannels = 0;

void TakeNap(const LineQueue& queue, Clock::time_point end) {
    Lock lock(napMutex);
    ++nappers;
    while (urgentChannels.load() <= 0 && queue.WaitingBytes() < kGoodWriteBytes &&
           napEnd.WaitUntil(lock, end)) {
    }
    --nappers;
}

void EndNap() {
    // Who begins one after this look sees why not to.
    if (nappers.load() > 0) {
        const Lock lock(napMutex);
        napEnd.NotifyAll();
    }
}

std::int64_t Nanoseconds(Clock::time_point time) noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

/// Whether `tryLock` takes, within a moment, a lock that is never held for long: for a
/// crash, which may have come while it was held.
template <class TryLock>
bool SoonLocked(TryLock&& tryLock) noexcept {
    bool isHeld = tryLock();
    for (int i = 0; i < 100 && !isHeld; ++i) {
        platform::SleepMilliseconds(1);
        isHeld = tryLock();
    }
    return isHeld;
}

thread_local bool isOnWorker = false;

// A task that throws is not destroyed, and its channel would never be closed.
template <class Action>
void Guarded(Action&& action) noexcept {
    const bool wasOnWorker = std::exchange(isOnWorker, true);
    try {
        action();
    } catch (const std::exception&) {
        // No memory. The lines wait for the next task, or for the end of the channel.
    }
    isOnWorker = wasOnWorker;
}

}  // namespace

BsFileChannel::BsFileChannel(const std::string& directory, FileLimits limits,
                             const std::string& prefix)
    : file(directory, limits, prefix) {
    const Lock lock(liveMutex);
    nextChannel = firstLive.load();
    firstLive = this;
}

BsFileChannel::BsFileChannel(BsFileChannel& parents, const std::string& directory,
                             FileLimits limits,
                             const std::string& prefix) CORE_NO_THREAD_SAFETY_ANALYSIS
    : BsFileChannel(directory, limits, prefix) {
    file.Inherit(parents.file);
}

void BsFileChannel::ForgetLocks() noexcept {
    new (&liveMutex) Mutex;
    new (&napMutex) Mutex;
    new (&napEnd) Condition;
    nappers = 0;
    urgentChannels = 0;
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
    mayHaveNotice = true;
}

bool BsFileChannel::FlushWhole(bool toDisk) {
    Flush();
    const Lock lock(fileMutex);
    if (toDisk) {
        file.SyncToDisk();
    }
    return file.IsWhole();
}

void BsFileChannel::Finish() {
    Flush();
    const Lock lock(fileMutex);
    file.Finish();
}

void BsFileChannel::CountIn(FileCounters& toFill) noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    // Before it is shared.
    counters = &toFill;
    file.CountIn(toFill);
}

void BsFileChannel::SetFullQueue(int policy, std::uint64_t maxBytes) noexcept {
    fullQueue = policy;
    mostWaitingBytes = maxBytes == 0 ? kMostWaitingBytes : std::max(maxBytes, kLeastWaitingBytes);
}

bool BsFileChannel::MakeRoom(std::string_view line) {
    const std::uint64_t most = mostWaitingBytes;
    if (fullQueue == CORE_LOG_WAIT || queue.WaitingBytes() + line.size() < most) {
        return true;
    }
    // After a crash in the middle of a write, the queue's end is read without a lock.
    const bool isOldest = fullQueue == CORE_LOG_DROP_OLDEST && !isTakenOver;
    const std::uint64_t dropped =
        isOldest ? queue.DropOldest(most - std::min<std::uint64_t>(most, line.size() + 1)) : 1;
    droppedLines.fetch_add(dropped, std::memory_order_relaxed);
    if (counters != nullptr) {
        counters->lostLines += dropped;
    }
    return isOldest;
}

bool BsFileChannel::Append(std::string_view line, bool isUrgent) {
    if (!MakeRoom(line)) {
        return false;
    }
    queue.Append(line);
    if (isUrgent && !hasUrgentLine.exchange(true)) {
        ++urgentChannels;
        EndNap();
    }
    return !isTaskPosted.exchange(true);
}

void BsFileChannel::WaitForRoom() {
    const std::uint64_t most = mostWaitingBytes;
    if (queue.WaitingBytes() < most || fullQueue != CORE_LOG_WAIT) {
        return;
    }
    const auto begin = Clock::now();
    const auto deadline = begin + kLongestWaitForRoom;
    Lock lock(roomMutex);
    ++waitingForRoom;
    while (queue.WaitingBytes() >= most && hasRoom.WaitUntil(lock, deadline)) {
    }
    --waitingForRoom;
    if (counters != nullptr) {
        const auto waited =
            static_cast<std::uint64_t>(Nanoseconds(Clock::now()) - Nanoseconds(begin));
        std::uint64_t longest = counters->longestWaitNanos;
        while (waited > longest &&
               !counters->longestWaitNanos.compare_exchange_weak(longest, waited)) {
        }
    }
}

void BsFileChannel::AwaitMore() noexcept {
    const Clock::time_point now = Clock::now();
    if (Nanoseconds(now) - lastWriteEnd.load() < Nanoseconds(Clock::time_point(kBusyPause))) {
        TakeNap(queue, now + kLongestNap);
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
    writingThread.store(platform::CurrentThreadId(), std::memory_order_relaxed);
    // Lines that come from here on have a task of their own.
    isTaskPosted.store(false);
    if (hasUrgentLine.exchange(false)) {
        --urgentChannels;
    }
    file.NoteDropped(droppedLines.exchange(0));
    if (isRetry) {
        file.Retry(Clock::now());
    }
    const std::uint64_t until = queue.AppendedLines();
    while (queue.RemovedLines() < until && !isTakenOver.load(std::memory_order_relaxed)) {
        file.NoteDropped(droppedLines.exchange(0));
        file.WriteFront(queue, Clock::now());
        file.Rotate(Clock::now());
        if (waitingForRoom.load() > 0 && queue.WaitingBytes() < mostWaitingBytes) {
            const Lock roomLock(roomMutex);
            hasRoom.NotifyAll();
        }
    }
    lastWriteEnd.store(Nanoseconds(Clock::now()));
    writingThread.store(0, std::memory_order_relaxed);
}

void BsFileChannel::TellNotice() CORE_NO_THREAD_SAFETY_ANALYSIS {
    // From any thread, and without waiting for a write.
    if (mayHaveNotice.load(std::memory_order_relaxed) && mayHaveNotice.exchange(false)) {
        if (const std::string notice = file.TakeNotice(); !notice.empty()) {
            Report(ReportLevel::Warn, "core", notice.c_str());
        }
    }
}

void BsFileChannel::WriteAllAtTheEnd() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    for (BsFileChannel* channel = firstLive; channel != nullptr; channel = channel->nextChannel) {
        channel->file.WriteAtTheEnd(channel->queue);
        channel->file.TellLosses();
    }
}

void BsFileChannel::WriteAtTheEnd(std::string_view line) noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    file.WriteAtTheEnd(queue);
    file.WriteAtTheEnd(line);
}

template <class Action>
void BsFileChannel::UseInACrash(std::uint64_t threadId, Clock::time_point deadline, bool isKeeping,
                                Action&& action) noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    bool isHeld = isKept || fileMutex.TryLock();
    // A thread does not wait for itself.
    while (!isHeld && writingThread.load() != threadId && !isTakenOver && Clock::now() < deadline) {
        platform::SleepMilliseconds(1);
        isHeld = fileMutex.TryLock();
    }
    isTakenOver = isTakenOver || !isHeld;
    const bool isQueueHeld = SoonLocked([this] { return queue.TryLockInACrash(); });
    action(isHeld);
    if (isQueueHeld) {
        queue.UnlockInACrash();
    }
    isKept = isKept || (isHeld && isKeeping);
    if (isHeld && !isKept) {
        fileMutex.unlock();
    }
}

namespace {

/// Calls `action` for each channel. The list may be in change on another thread, which is
/// given a moment.
template <class Action>
void ForEachInACrash(Action&& action) noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    const bool isHeld = SoonLocked([] { return liveMutex.TryLock(); });
    action(Clock::now() + kLongestWaitInACrash);
    if (isHeld) {
        liveMutex.unlock();
    }
}

}  // namespace

void BsFileChannel::SaveAllInACrash(std::uint64_t threadId) noexcept {
    ForEachInACrash([&](Clock::time_point deadline) CORE_NO_THREAD_SAFETY_ANALYSIS {
        for (BsFileChannel* at = firstLive; at != nullptr; at = at->nextChannel) {
            at->UseInACrash(threadId, deadline, false,
                            [at](bool isHeld) CORE_NO_THREAD_SAFETY_ANALYSIS {
                                if (isHeld) {
                                    at->file.WriteInACrash(at->queue, at->queue.AppendedLines());
                                } else {
                                    at->file.WriteAtTheEnd(at->queue);
                                }
                            });
        }
    });
}

void BsFileChannel::WriteAllInACrash(std::uint64_t threadId, std::string_view line,
                                     bool isLast) noexcept {
    ForEachInACrash([&](Clock::time_point deadline) CORE_NO_THREAD_SAFETY_ANALYSIS {
        for (BsFileChannel* at = firstLive; at != nullptr; at = at->nextChannel) {
            at->UseInACrash(threadId, deadline, isLast, [&](bool) CORE_NO_THREAD_SAFETY_ANALYSIS {
                at->file.WriteAtTheEnd(line);
            });
        }
    });
}

void BsFileChannel::HoldAllInACrash(std::uint64_t threadId) noexcept {
    ForEachInACrash([&](Clock::time_point deadline) CORE_NO_THREAD_SAFETY_ANALYSIS {
        for (BsFileChannel* at = firstLive; at != nullptr; at = at->nextChannel) {
            at->UseInACrash(threadId, deadline, true, [](bool) {});
        }
    });
}

void FileChannelTask::Run() {
    channel->AwaitMore();
    Guarded([this] { channel->WriteWaiting(); });
}

void FlushTask::Run() {
    Guarded([this] {
        channel->Flush();
        channel->TellNotice();
    });
}

void FlushWait::Finish(bool isWhole) {
    const Lock lock(mutex);
    isOver = true;
    isEachWhole = isWhole;
    changed.NotifyAll();
}

bool FlushWait::Await(std::chrono::steady_clock::time_point deadline) {
    Lock lock(mutex);
    while (!isOver && changed.WaitUntil(lock, deadline)) {
    }
    return isOver;
}

bool FlushWait::IsWhole() {
    const Lock lock(mutex);
    return isEachWhole;
}

void FlushAllTask::Run() {
    bool isWhole = true;
    for (const std::shared_ptr<BsFileChannel>& channel : channels) {
        bool isThisWhole = false;
        Guarded([&] { isThisWhole = channel->FlushWhole(toDisk); });
        isWhole = isWhole && isThisWhole;
    }
    wait->Finish(isWhole);
}

bool FlushAllTask::IsOnWorker() noexcept {
    return isOnWorker;
}

}  // namespace core
