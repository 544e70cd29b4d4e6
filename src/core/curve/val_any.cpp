#include <core/curve/val_any.h>

#include <core/curve/any_kind_mismatch.h>

#include "core/curve/numbers.h"

#include <algorithm>
#include <limits>

namespace core {

AnyBadAccess::AnyBadAccess() noexcept = default;
AnyBadAccess::AnyBadAccess(const AnyBadAccess&) noexcept = default;
AnyBadAccess& AnyBadAccess::operator=(const AnyBadAccess&) noexcept = default;
AnyBadAccess::~AnyBadAccess() = default;

const char* AnyBadAccess::what() const noexcept {
    return "ValAny Bad Access";
}

void ValAny::Refuse(std::int32_t wanted) const {
    throw AnyKindMismatch(kind, wanted);
}

int ValAny::ConvertToInt() const {
    constexpr std::int64_t kMost = std::numeric_limits<int>::max();
    constexpr std::int64_t kLeast = std::numeric_limits<int>::min();
    switch (kind) {
        case kInt:
        case kInt64:
            return static_cast<int>(std::clamp(payload.signed64, kLeast, kMost));
        case kUnsigned:
        case kUnsigned64:
            return static_cast<int>(
                std::min(payload.unsigned64, static_cast<std::uint64_t>(kMost)));
        case kFloat:
            return TruncateToInt(static_cast<double>(payload.single));
        case kDouble:
            return TruncateToInt(payload.real);
        default:
            Refuse(kInt);
    }
}

double ValAny::ConvertToDouble() const {
    switch (kind) {
        case kInt:
        case kInt64:
            return static_cast<double>(payload.signed64);
        case kUnsigned:
        case kUnsigned64:
            return static_cast<double>(payload.unsigned64);
        case kFloat:
            return static_cast<double>(payload.single);
        case kDouble:
            return payload.real;
        default:
            Refuse(kDouble);
    }
}

}  // namespace core
