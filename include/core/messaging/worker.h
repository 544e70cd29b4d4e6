#pragma once

#include <core/export.h>

namespace core {

/// One unit of work for a worker.
///
/// Whoever posts a task gives it up: the worker runs it once and destroys it. A
/// task whose `Run` throws is not destroyed; it stays with whoever kept a pointer.
class Task {
public:
    virtual ~Task() = default;
    /// The work, on the worker's thread or on one that drains it.
    virtual void Run() = 0;
};

/// One background thread that runs tasks strictly in the order of their posts.
///
/// Owned by its caller, who deletes it; safe from any thread until then.
///
///     std::unique_ptr<core::IWorker> worker(CreateWorker());
///     worker->PostTask(new SaveTask(document));
///     worker.reset();  // joins the thread, then runs what is left, in order
class IWorker {
public:
    /// Joins the thread, then runs and destroys what is still queued, on the calling
    /// thread and in order, with whatever those tasks post. Waits for the task that
    /// the thread is in.
    ///
    /// Where the system has ended the thread with the process, as Windows does before it
    /// unloads libraries, nothing is joined, and what is queued runs unless the thread died
    /// while it changed the queue. A forked process runs none of its parent's tasks.
    ///
    /// Inside a task of this worker it can't join: std::system_error with
    /// std::errc::resource_deadlock_would_occur leaves the destructor. The worker is
    /// gone then, and its thread ends by itself once it has run what was queued.
    virtual ~IWorker() noexcept(false) = default;

    /// Queues `task` and gives up its ownership; null is ignored.
    ///
    /// After the stop the task is neither run nor destroyed. While a drain is under
    /// way, the worker takes what its own tasks post, and nothing else. Never waits
    /// for a task. Without memory std::bad_alloc, and the task stays the caller's.
    virtual void PostTask(Task* task) = 0;

    /// Tasks that wait for their turn; the one that is running does not count.
    virtual int GetTaskCount() = 0;

    /// Stops, and runs and destroys what is queued on the calling thread, with
    /// whatever those tasks post.
    ///
    /// It does not wait for the task that the worker's thread may be in, so that one
    /// can end after later ones. A second call waits for the drain under way; from a
    /// task of this worker it returns at once then.
    virtual void StopAndDrain() = 0;

    /// What the worker's thread runs. A caller that calls it lends its own thread: it
    /// takes tasks beside the worker's until the stop.
    virtual void ThreadLoop() = 0;
};

}  // namespace core

/// A new worker whose thread runs; the caller deletes it. Null if there is no memory;
/// std::system_error if no thread can be started.
extern "C" CORE_API core::IWorker* CreateWorker();
