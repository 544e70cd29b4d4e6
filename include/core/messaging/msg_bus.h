#pragma once

#include <core/export.h>
#include <core/messaging/message.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

template <class Message>
class MessageQueue;

/// Where small messages can be sent to.
class CORE_API IMsgBus {
public:
    /// False, and nothing is stored, when it takes no more messages.
    virtual bool AddMsg(const SimpleMessage& message) = 0;
    virtual ~IMsgBus();
};

/// A queue of small messages between any number of producers and consumers.
///
/// First in, first out, but for urgent messages. Copies share one queue; it closes by
/// itself when the last copy is destroyed. Safe from any thread.
///
///     core::SimpleMsgBus bus;
///     std::thread consumer([bus]() mutable {
///         core::SimpleMessage message;
///         while (bus.GetMsg(message) == core::MsgBusWaitRet::Ok) Show(message.code);
///     });
///     bus.AddMsg({42});
///
/// Adding and reading allocate nothing once the queue has had its length. No message is
/// destroyed under the queue's lock: a payload's destructor may use the bus. A mutex
/// that fails raises std::system_error; one whose holder the system has ended with the
/// process, or a fork has left behind, closes the queue, and no call waits then. Adding
/// without memory raises std::bad_alloc, and the queue is as it was.
class CORE_API SimpleMsgBus : public IMsgBus {
public:
    SimpleMsgBus();
    SimpleMsgBus(const SimpleMsgBus& other) noexcept;
    SimpleMsgBus& operator=(const SimpleMsgBus& other) noexcept;
    ~SimpleMsgBus() override;

    /// Appends `message` and wakes one waiter. False when the bus is closed.
    bool AddMsg(const SimpleMessage& message) override;

    /// As AddMsg, but before everything that is queued.
    bool InsertUrgentMsg(const SimpleMessage& message);

    /// Waits for a message and takes it. `Closed`, with `out` as it was, once the bus
    /// is closed: nothing else ends the wait.
    MsgBusWaitRet GetMsg(SimpleMessage& out);

    /// As GetMsg, for at most `ms` milliseconds, which changes of the wall clock do not
    /// touch. Zero or less looks once and returns at once.
    MsgBusWaitRet GetMsgWaitFor(SimpleMessage& out, std::int64_t ms);

    /// As GetMsg, but copies the message and leaves it where it is; its wake-up goes on
    /// to another waiter.
    MsgBusWaitRet PeekMsgWait(SimpleMessage& out);

    /// Takes the first message without waiting; false when there is none.
    bool TryGetMsg(SimpleMessage& out);

    /// Copies the first message without waiting; false when there is none.
    bool PeekMsg(SimpleMessage& out) const;

    /// Discards the first message without waiting; false when there is none.
    bool PopMsg();

    /// Messages in the queue, in the low 32 bits.
    std::int32_t Count() const;

    /// Discards every message, and wakes all waiters, for good.
    void Close();

private:
    friend class MessageLoop;
    friend class MessagingAccess;
    std::shared_ptr<MessageQueue<SimpleMessage>> p_impl;
};

/// As SimpleMsgBus, for messages of classes that derive from VersatileMessage.
///
/// The bus shares its messages with whoever keeps a handle: reading by copy leaves the
/// handle in the queue too. An empty handle is carried like any other.
class CORE_API VersatileMsgBus {
public:
    /// What the bus carries.
    using Handle = std::shared_ptr<VersatileMessage>;

    VersatileMsgBus();
    VersatileMsgBus(const VersatileMsgBus& other) noexcept;
    VersatileMsgBus& operator=(const VersatileMsgBus& other) noexcept;
    ~VersatileMsgBus();

    /// Appends a handle and wakes one waiter. False when the bus is closed.
    bool AddMsg(const Handle& message);

    /// Takes the caller's handle, or leaves it alone when the bus is closed.
    bool AddMsg(Handle&& message);

    /// The same for a handle to a derived class.
    template <class Derived,
              std::enable_if_t<std::is_convertible_v<Derived*, VersatileMessage*>, int> = 0>
    bool AddMsg(std::shared_ptr<Derived>&& message) {
        Derived* const raw = message.get();
        Handle handle(std::move(message));
        if (AddMsg(std::move(handle))) {
            return true;
        }
        message = std::shared_ptr<Derived>(handle, raw);
        return false;
    }

    /// As on SimpleMsgBus.
    bool InsertUrgentMsg(const Handle& message);
    MsgBusWaitRet GetMsg(Handle& out);
    MsgBusWaitRet GetMsgWaitFor(Handle& out, std::int64_t ms);
    MsgBusWaitRet PeekMsgWait(Handle& out);
    bool TryGetMsg(Handle& out);
    bool PeekMsg(Handle& out) const;
    bool PopMsg();
    std::int32_t Count() const;
    void Close();

private:
    friend class MessageLoop;
    friend class MessagingAccess;
    std::shared_ptr<MessageQueue<Handle>> p_impl;
};

}  // namespace core
CORE_HIDES_STD_END
