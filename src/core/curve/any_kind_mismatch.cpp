#include <core/curve/any_kind_mismatch.h>

namespace core {
namespace {

const char* NameOfKind(int kind) noexcept {
    switch (kind) {
        case ValAny::kNone:
            return "nothing";
        case ValAny::kBool:
            return "a boolean";
        case ValAny::kPoint:
            return "a point";
        case ValAny::kString:
            return "a text";
        default:
            return "a number";
    }
}

}  // namespace

AnyKindMismatch::AnyKindMismatch(int held, int wanted) noexcept
    : heldKind(held), wantedKind(wanted) {}
AnyKindMismatch::AnyKindMismatch(const AnyKindMismatch&) noexcept = default;
AnyKindMismatch& AnyKindMismatch::operator=(const AnyKindMismatch&) noexcept = default;
AnyKindMismatch::~AnyKindMismatch() = default;

std::string AnyKindMismatch::Message() const {
    return std::string(NameOfKind(heldKind)) + " where " + NameOfKind(wantedKind) + " was wanted";
}

}  // namespace core
