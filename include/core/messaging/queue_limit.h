#pragma once

#include <core/export.h>
#include <core/messaging/msg_bus.h>

#include <cstddef>
#include <cstdint>

namespace core {

/// What becomes of a message that comes to a full bus.
enum class WhenFull : int {
    Wait = 0,        ///< its poster waits for room, or until the bus is closed
    Refuse = 1,      ///< it is not taken: adding answers false
    DropOldest = 2,  ///< it is taken, and the message that has waited longest goes
};

/// How many messages may wait in a bus.
struct QueueLimit {
    /// 0: any number.
    std::size_t count = 0;
    WhenFull whenFull = WhenFull::Wait;
};

/// Limits what may wait in a bus, for all its copies. What waits already stays, but for
/// `DropOldest`, which drops what is too much at once.
///
///     core::SetLimit(bus, {1000, core::WhenFull::Refuse});
///     if (!bus.AddMsg(message)) ++lost;
///
/// Urgent messages and those of timers go past the limit. So does what the handler of a
/// MessageLoop adds to its own bus where it would wait: it would wait for itself. The
/// message that a loop's handler is in does not count and is not dropped; beside
/// `PeekMsgWait` and `PopMsg` by hand, dropping may take the message between the two.
/// Each poster's messages keep their order, whoever waits. Safe from any thread.
CORE_API void SetLimit(SimpleMsgBus& bus, const QueueLimit& limit);
CORE_API void SetLimit(VersatileMsgBus& bus, const QueueLimit& limit);

/// How a batch was taken.
struct TakenMessages {
    /// `Ok` with at least one message; otherwise none was taken.
    MsgBusWaitRet result;
    std::size_t count;
};

/// Waits like GetMsgWaitFor for a message, and takes those that are there, at most
/// `count`, under one lock, in their order into `out`. What `out` held is released first;
/// what it has more stays empty. A negative `ms` waits until the bus is closed.
///
///     std::array<core::SimpleMessage, 64> messages;
///     while (true) {
///         const auto taken = core::GetMsgs(bus, messages.data(), messages.size());
///         if (taken.result != core::MsgBusWaitRet::Ok) break;
///         for (std::size_t i = 0; i < taken.count; ++i) Show(messages[i]);
///     }
CORE_API TakenMessages GetMsgs(SimpleMsgBus& bus, SimpleMessage* out, std::size_t count,
                               std::int64_t ms = -1);
CORE_API TakenMessages GetMsgs(VersatileMsgBus& bus, VersatileMsgBus::Handle* out,
                               std::size_t count, std::int64_t ms = -1);

}  // namespace core
