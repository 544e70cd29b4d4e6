#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/line_queue.h"
#include "core/logging/rotating_file.h"

#include <core/messaging/worker.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace core {

/// The file sink of a module: callers append lines, the log worker writes them.
///
/// Shared by the module and the tasks that were posted for it, so that a channel
/// which its module has replaced still writes what it was given. A task writes all
/// that is there when it starts, so that one is posted for many lines.
class BsFileChannel {
public:
    BsFileChannel(const std::string& directory, FileLimits limits, const std::string& prefix);
    /// In a forked child: goes on in the file of its copy of the parent's channel. Lines
    /// that wait there are the parent's.
    BsFileChannel(BsFileChannel& parents, const std::string& directory, FileLimits limits,
                  const std::string& prefix);
    ~BsFileChannel();
    BsFileChannel(const BsFileChannel&) = delete;
    BsFileChannel& operator=(const BsFileChannel&) = delete;

    platform::SystemError Open();
    /// Counts in `toFill` from now on, which outlives it.
    void CountIn(FileCounters& toFill) noexcept;
    /// For all channels: a CoreLogFullQueue, and the bytes that may wait; 0 is the usual.
    static void SetFullQueue(int policy, std::uint64_t maxBytes) noexcept;
    void SetPrefix(const std::string& prefix);
    /// Whether this is a forked child's copy of its parent's channel.
    bool IsTheParents() const noexcept { return processId != platform::CurrentProcessId(); }

    /// Queues a line, or drops it where the queue is full and told to; true when a task has to
    /// be posted for it. Callers take turns.
    bool Append(std::string_view line, bool isUrgent);
    /// That task could not be posted.
    void TaskIsLost() noexcept { isTaskPosted.store(false); }
    /// Holds a caller back while the file is far behind; a second at most.
    void WaitForRoom();

    // Any thread; the log worker, as a rule.

    /// Gives the callers a moment to add to what they began, if they are busy and no
    /// channel has an urgent line.
    void AwaitMore() noexcept;
    void WriteWaiting();
    /// Like `WriteWaiting`, and tries a file at once that took no more.
    void Flush();
    /// Like `Flush`, with what was written on the disk if it is to be; false when lines are
    /// missing in their file.
    bool FlushWhole(bool toDisk);
    /// Like `Flush`, at the end: where lines are lost that no file can be told of, standard
    /// error is.
    void Finish();
    /// Tells the user what there is to tell about the files, as lines of the library.
    /// Not under the log's mutex.
    void TellNotice();

    /// Writes what is left of all channels in a process whose other threads are gone.
    static void WriteAllAtTheEnd() noexcept;
    /// Likewise, a line that comes then.
    void WriteAtTheEnd(std::string_view line) noexcept;

    /// In a crash of thread `threadId`: writes what waits in all channels, without memory.
    /// A write that another thread is in gets a second to end, and is continued then.
    static void SaveAllInACrash(std::uint64_t threadId) noexcept;
    /// Likewise, a line behind what was saved, in each file; the last one where `isLast`.
    static void WriteAllInACrash(std::uint64_t threadId, std::string_view line,
                                 bool isLast) noexcept;
    /// Likewise: nobody writes any more.
    static void HoldAllInACrash(std::uint64_t threadId) noexcept;

    /// In a forked child: gives up the locks that threads of the parent may have held.
    static void ForgetLocks() noexcept;

private:
    void Write(bool isRetry);
    /// Whether `line` finds room, for which older ones may have to go.
    bool MakeRoom(std::string_view line);
    /// Has `action` use the file in a crash, before `deadline`; keeps the file's lock if told.
    template <class Action>
    void UseInACrash(std::uint64_t threadId, std::chrono::steady_clock::time_point deadline,
                     bool isKeeping, Action&& action) noexcept;

    LineQueue queue;
    std::atomic<bool> isTaskPosted = false;
    std::atomic<bool> hasUrgentLine = false;
    std::atomic<bool> mayHaveNotice = true;
    std::atomic<std::int64_t> lastWriteEnd = 0;
    /// Who is in `Write`, or 0.
    std::atomic<std::uint64_t> writingThread = 0;
    /// After a crash in the middle of a write: nobody else writes any more.
    std::atomic<bool> isTakenOver = false;
    /// In a crash: its lock is held for good.
    std::atomic<bool> isKept = false;
    const std::uint64_t processId = platform::CurrentProcessId();

    Mutex fileMutex;
    RotatingFile file CORE_GUARDED_BY(fileMutex);

    FileCounters* counters = nullptr;
    /// Lines that were not queued, and that the file does not know of yet.
    std::atomic<std::uint64_t> droppedLines = 0;

    std::atomic<int> waitingForRoom = 0;
    Mutex roomMutex;
    Condition hasRoom;

    // All channels that live.
    std::atomic<BsFileChannel*> nextChannel = nullptr;
};

/// Somebody waits for a flush.
class FlushWait {
public:
    void Finish(bool isWhole);
    /// Whether it is over; false once the deadline has passed.
    bool Await(std::chrono::steady_clock::time_point deadline);
    bool IsWhole();

private:
    Mutex mutex;
    Condition changed;
    bool isOver CORE_GUARDED_BY(mutex) = false;
    bool isEachWhole CORE_GUARDED_BY(mutex) = false;
};

/// Flushes channels for somebody who waits.
class FlushAllTask final : public Task {
public:
    using Channels = std::vector<std::shared_ptr<BsFileChannel>>;
    FlushAllTask(Channels toFlush, bool toTheDisk, std::shared_ptr<FlushWait> toEnd)
        : channels(std::move(toFlush)), toDisk(toTheDisk), wait(std::move(toEnd)) {}
    void Run() override;
    /// Whether the calling thread runs a task of the log's.
    static bool IsOnWorker() noexcept;

private:
    Channels channels;
    bool toDisk;
    std::shared_ptr<FlushWait> wait;
};

/// Writes the waiting lines of a channel.
class FileChannelTask final : public Task {
public:
    explicit FileChannelTask(std::shared_ptr<BsFileChannel> toWrite)
        : channel(std::move(toWrite)) {}
    void Run() override;

private:
    std::shared_ptr<BsFileChannel> channel;
};

/// Flushes a channel.
class FlushTask final : public Task {
public:
    explicit FlushTask(std::shared_ptr<BsFileChannel> toFlush) : channel(std::move(toFlush)) {}
    void Run() override;

private:
    std::shared_ptr<BsFileChannel> channel;
};

}  // namespace core
