#pragma once

#include <core/export.h>

#include <cstdint>
#include <memory>

namespace core {

/// A small message that a SimpleMsgBus carries by value. No field means anything to
/// the bus.
struct SimpleMessage {
    std::int32_t code = 0;
    std::int32_t arg = 0;
    std::int64_t param1 = 0;
    std::int64_t param2 = 0;
    std::int64_t param3 = 0;
    /// Shared with whoever else keeps it; released outside every lock of the bus.
    std::shared_ptr<void> payload{};
};

/// Base of the messages that a VersatileMsgBus carries by handle: derive from it to
/// add what the message says.
class CORE_API VersatileMessage {
public:
    explicit VersatileMessage(std::int32_t id) noexcept;
    VersatileMessage(const VersatileMessage& other) noexcept;
    /// Takes the other's id too.
    VersatileMessage& operator=(const VersatileMessage& other) noexcept;
    virtual ~VersatileMessage();

    std::int32_t MessageId() const noexcept { return fixedId; }

private:
    std::int32_t fixedId;
};

/// What a waiting read comes back with. Programs store these numbers.
enum class MsgBusWaitRet : int {
    Ok = 0,       ///< a message was delivered
    Timeout = 1,  ///< the time passed with the bus empty and open
    Closed = 2,   ///< the bus is closed
};

}  // namespace core
