#pragma once

#include <core/export.h>
#include <core/messaging/worker.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

/// When a worker gets to a task.
enum class TaskOrder : int {
    InTurn = 0,  ///< after all that was posted before
    Urgent = 1,  ///< before all that waits, but after other urgent ones
};

/// Queues a task like `IWorker::PostTask`, but urgent ones before all others. False, and
/// the task stays the caller's, when the worker is stopped or the task null. A worker that
/// is not from CreateWorker knows no order and always answers true.
CORE_API bool PostTask(IWorker& worker, Task* task, TaskOrder order);

/// What has become of a call.
enum class CallState : int {
    Waiting = 0,    ///< for its turn
    Running = 1,    ///< on the worker
    Done = 2,       ///< its answer is there
    Failed = 3,     ///< its exception is there
    Cancelled = 4,  ///< it will not run
    Lost = 5,       ///< the worker was stopped: it will not run
};

namespace detail {

/// What a call and its future share. Safe from any thread.
class CallRecord {
public:
    using Destroy = void (*)(CallRecord& record);

    explicit CallRecord(Destroy toDestroy) noexcept : destroy(toDestroy) {}
    CallRecord(const CallRecord&) = delete;
    CallRecord& operator=(const CallRecord&) = delete;

    CallState State() const noexcept { return static_cast<CallState>(state.load() & ~kIsAwaited); }
    /// Waits until the call is over; false when `ms` milliseconds pass before, if not negative.
    bool Wait(std::int64_t ms) { return State() >= CallState::Done || Sleep(ms); }
    /// From Waiting to `next`; false when it was something else.
    bool Leave(CallState next) noexcept {
        int before = static_cast<int>(CallState::Waiting);
        return state.compare_exchange_strong(before, static_cast<int>(next)) ||
               (before == kIsAwaited && LeaveAwaited(next));
    }
    /// From Running to `next`.
    void Finish(CallState next) noexcept {
        if ((state.exchange(static_cast<int>(next)) & kIsAwaited) != 0) {
            Wake();
        }
    }
    /// One of the two that share it goes.
    void Release() noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            destroy(*this);
        }
    }

    std::exception_ptr error;

protected:
    ~CallRecord() = default;

private:
    static constexpr int kIsAwaited = 16;

    CORE_API bool Sleep(std::int64_t ms);
    CORE_API bool LeaveAwaited(CallState next) noexcept;
    CORE_API void Wake() noexcept;

    std::atomic<int> state{static_cast<int>(CallState::Waiting)};
    std::atomic<int> references{2};
    Destroy destroy;
};

template <class Answer>
class CallRecordOf final : public CallRecord {
public:
    using CallRecord::CallRecord;

    /// Runs the function and keeps what it answers.
    template <class Function>
    void Call(Function& function) {
        if constexpr (std::is_void_v<Answer>) {
            function();
            value.emplace(true);
        } else if constexpr (std::is_reference_v<Answer>) {
            value.emplace(std::addressof(function()));
        } else {
            value.emplace(function());
        }
    }
    Answer Take() {
        if constexpr (std::is_reference_v<Answer>) {
            return static_cast<Answer>(**value);
        } else if constexpr (!std::is_void_v<Answer>) {
            return std::move(*value);
        }
    }

private:
    using Stored = std::conditional_t<
        std::is_void_v<Answer>, bool,
        std::conditional_t<std::is_reference_v<Answer>, std::remove_reference_t<Answer>*, Answer>>;

    std::optional<Stored> value;
};

/// The task behind a call. It stands behind the record, in the same memory, and gives its
/// part in the record back with its place there.
template <class Answer, class Function>
class CallTask final : public Task {
    using Record = CallRecordOf<Answer>;

public:
    /// With a record that the task and a future share.
    template <class Source>
    static CallTask* Make(Source&& function, Record*& record) {
        constexpr std::size_t kSize = Offset() + sizeof(CallTask);
        void* const memory = Allocate(kSize);
        try {
            record = ::new (memory) Record(&DestroyRecord);
            return ::new (static_cast<unsigned char*>(memory) + Offset())
                CallTask(std::forward<Source>(function), *record);
        } catch (...) {
            record->~Record();
            Free(memory);
            throw;
        }
    }

    ~CallTask() override {
        if (record.State() == CallState::Waiting) {
            record.Leave(CallState::Lost);
        }
    }

    void Run() override {
        if (!record.Leave(CallState::Running)) {
            return;
        }
        try {
            record.Call(function);
            record.Finish(CallState::Done);
        } catch (...) {
            record.error = std::current_exception();
            record.Finish(CallState::Failed);
        }
    }

    static void operator delete(void* place) noexcept {
        void* const memory = static_cast<unsigned char*>(place) - Offset();
        static_cast<Record*>(memory)->Release();
    }

private:
    template <class Source>
    CallTask(Source&& source, Record& toShare)
        : function(std::forward<Source>(source)), record(toShare) {}

    static constexpr std::size_t Alignment() noexcept {
        return alignof(Record) > alignof(CallTask) ? alignof(Record) : alignof(CallTask);
    }
    static constexpr std::size_t Offset() noexcept {
        return (sizeof(Record) + Alignment() - 1) / Alignment() * Alignment();
    }
    static void DestroyRecord(CallRecord& shared) {
        auto* const memory = static_cast<Record*>(&shared);
        memory->~Record();
        Free(memory);
    }
    // Memory for wider alignments takes longer to get.
    static void* Allocate(std::size_t size) {
        if constexpr (Alignment() > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            return ::operator new(size, std::align_val_t(Alignment()));
        } else {
            return ::operator new(size);
        }
    }
    static void Free(void* memory) noexcept {
        if constexpr (Alignment() > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
            ::operator delete(memory, std::align_val_t(Alignment()));
        } else {
            ::operator delete(memory);
        }
    }
    // Placement alone: see Make.
    static void* operator new(std::size_t, void* place) noexcept { return place; }

    Function function;
    Record& record;
};

}  // namespace detail

/// The answer that a posted call will have.
///
///     core::Future<Picture> picture = core::PostCall(*worker, [clip] { return Decode(clip); });
///     ...
///     if (!picture.Cancel()) Show(picture.Get());
///
/// A future that goes neither waits for its call nor cancels it. One thread at a time.
template <class Answer>
class Future {
public:
    /// Of no call.
    Future() noexcept = default;
    Future(Future&& other) noexcept : record(std::exchange(other.record, nullptr)) {}
    Future& operator=(Future&& other) noexcept {
        std::swap(record, other.record);
        return *this;
    }
    ~Future() {
        if (record != nullptr) {
            record->Release();
        }
    }

    /// Whether it has a call: until `Get`.
    bool IsValid() const noexcept { return record != nullptr; }
    /// What has become of the call.
    CallState State() const { return Record().State(); }

    /// Waits until the call is over. Not in a task of the same worker, which would wait
    /// for a call behind itself.
    void Wait() const { Record().Wait(-1); }
    /// The same for at most `ms` milliseconds; whether it is over.
    bool WaitFor(std::int64_t ms) const { return Record().Wait(ms > 0 ? ms : 0); }

    /// Waits, and answers what the call did, or throws what it threw; then the future is
    /// empty. Where the call was cancelled or lost, std::future_error with
    /// std::future_errc::broken_promise.
    Answer Get() {
        Record().Wait(-1);
        const Future own(std::move(*this));
        switch (own.State()) {
            case CallState::Done:
                return own.record->Take();
            case CallState::Failed:
                std::rethrow_exception(own.record->error);
            default:
                throw std::future_error(std::future_errc::broken_promise);
        }
    }

    /// Whether the call will never run: false when it has begun. What it holds goes when
    /// the worker gets to it.
    bool Cancel() {
        return Record().Leave(CallState::Cancelled) || State() == CallState::Cancelled;
    }

private:
    template <class Function>
    friend auto PostCall(IWorker& worker, Function&& function, TaskOrder order)
        -> Future<std::invoke_result_t<std::decay_t<Function>&>>;

    explicit Future(detail::CallRecordOf<Answer>& shared) noexcept : record(&shared) {}

    detail::CallRecordOf<Answer>& Record() const {
        if (record == nullptr) {
            throw std::future_error(std::future_errc::no_state);
        }
        return *record;
    }

    detail::CallRecordOf<Answer>* record = nullptr;
};

/// Has a worker call `function()`, and answers a future for what it answers or throws.
///
/// On a stopped worker the call is lost, and the future says so. Without memory
/// std::bad_alloc, and nothing is posted. One allocation; a call with a future takes less
/// than 1.5 times as long as a plain task.
template <class Function>
auto PostCall(IWorker& worker, Function&& function, TaskOrder order = TaskOrder::InTurn)
    -> Future<std::invoke_result_t<std::decay_t<Function>&>> {
    using Answer = std::invoke_result_t<std::decay_t<Function>&>;
    using Call = detail::CallTask<Answer, std::decay_t<Function>>;
    detail::CallRecordOf<Answer>* record = nullptr;
    Task* const task = Call::Make(std::forward<Function>(function), record);
    Future<Answer> future(*record);
    bool isPosted = false;
    try {
        isPosted = PostTask(worker, task, order);
    } catch (...) {
        delete task;
        throw;
    }
    if (!isPosted) {
        delete task;
    }
    return future;
}

/// Waits until every task that was posted to the worker before has run, on whichever
/// thread; not for the tasks that those post. In a task of this worker
/// std::system_error with std::errc::resource_deadlock_would_occur.
CORE_API void WaitForPosted(IWorker& worker);

}  // namespace core
CORE_HIDES_STD_END
