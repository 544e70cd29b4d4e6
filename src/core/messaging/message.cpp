#include <core/messaging/message.h>

namespace core {

VersatileMessage::VersatileMessage(std::int32_t id) noexcept : fixedId(id) {}

VersatileMessage::VersatileMessage(const VersatileMessage& other) noexcept = default;

VersatileMessage& VersatileMessage::operator=(const VersatileMessage& other) noexcept = default;

VersatileMessage::~VersatileMessage() = default;

}  // namespace core
