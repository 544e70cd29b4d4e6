#pragma once

#include <core/export.h>
#include <core/messaging/msg_bus.h>

#include <memory>

CORE_HIDES_STD_BEGIN
namespace core {

class LoopRun;
class LoopThreads;

/// A thread that takes one message after the other from a bus and handles it.
///
/// Derive from it, override what you need, and call WaitExit in your own destructor:
/// when the base's runs, your part is gone and your handlers with it.
///
///     class Saver : public core::MessageLoop {
///     public:
///         ~Saver() override { WaitExit(); }
///         using core::MessageLoop::OnMessage;
///         void OnMessage(const core::SimpleMessage& message) override { Save(message.arg); }
///     };
///
///     core::SimpleMsgBus bus;
///     Saver saver;
///     saver.SetMsgBus(&bus);
///     saver.Launch();
///     bus.AddMsg({0, 7});
///     bus.Close();  // the only way to stop a loop
///
/// Handlers run on the loop's thread, one at a time, in the order of the queue. What a
/// handler or a hook throws is reported to the log, and the loop goes on.
///
/// Set up and launched by one thread at a time; WaitExit is safe from any thread. The
/// bus stays the caller's. Destroying its last copy closes it, so that the loop ends.
class CORE_API MessageLoop {
public:
    MessageLoop();
    /// Copies share the buses and the thread: WaitExit on any of them waits for it.
    MessageLoop(const MessageLoop& other);
    MessageLoop& operator=(const MessageLoop& other);

    /// The last copy waits until the bus is closed and the thread has ended. An earlier
    /// one waits at most for a handler in progress; if it is the one that was launched,
    /// its thread handles no further message and leaves them in the bus.
    ///
    /// Threads that are gone without having ended, at the end of a process on Windows or
    /// in a forked process, are not waited for; by WaitExit neither.
    ///
    /// A handler may destroy its own loop, if that has no destructor that calls WaitExit:
    /// the message counts as handled, and the thread ends without OnLoopExit.
    virtual ~MessageLoop();

    /// On the loop's thread before the first message.
    virtual void OnLoopStart();
    /// On the loop's thread after the last message.
    virtual void OnLoopExit();

    /// Handles one message. It stays first in the bus meanwhile, and is discarded
    /// afterwards. An urgent message that comes meanwhile is first then, and discarded
    /// instead; the handled one is handled once more.
#if defined(CORE_LAYS_OVERLOADS_TOGETHER)
    virtual void OnMessage(const SimpleMessage& message);
    virtual void OnMessage(const std::shared_ptr<VersatileMessage>& message);
#else
    virtual void OnMessage(const std::shared_ptr<VersatileMessage>& message);
    /// The same for messages of a SimpleMsgBus.
    virtual void OnMessage(const SimpleMessage& message);
#endif

    /// The bus to take messages from, before Launch. Of two, the SimpleMsgBus is used;
    /// without any, a launched loop ends at once.
    void SetMsgBus(SimpleMsgBus* bus);
    void SetMsgBus(VersatileMsgBus* bus);

    /// Starts a thread; false when none can be started.
    ///
    /// Each call starts another one. Two threads on one bus handle messages twice and
    /// discard others: wait for the first to end.
    bool Launch();

    /// Waits until the bus is closed and every launched thread has ended.
    ///
    /// On one of those threads std::system_error with
    /// std::errc::resource_deadlock_would_occur; with std::errc::no_such_process when
    /// joining fails.
    void WaitExit();

protected:
    /// What the thread runs. A derived class may run it on a thread of its own too, and
    /// then outlives that.
    virtual void ThreadProc();

private:
    friend class MessagingAccess;
    std::shared_ptr<LoopRun> MakeRun() const;

    SimpleMsgBus* simpleBus = nullptr;
    VersatileMsgBus* versatileBus = nullptr;
    std::shared_ptr<LoopThreads> p_impl;
};

}  // namespace core
CORE_HIDES_STD_END
