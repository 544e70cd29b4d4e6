#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <cstring>

namespace core::platform {

IdentifierStatus GenerateSequentialIdentifier(std::array<std::uint8_t, 16>& bytes) noexcept {
    UUID identifier{};
    const RPC_STATUS status = UuidCreateSequential(&identifier);
    static_assert(sizeof identifier == sizeof bytes);
    std::memcpy(bytes.data(), &identifier, bytes.size());
    switch (status) {
        case RPC_S_OK:
            return IdentifierStatus::Unique;
        case RPC_S_UUID_LOCAL_ONLY:
            return IdentifierStatus::LocalOnly;
        default:
            return IdentifierStatus::Failed;
    }
}

}  // namespace core::platform
