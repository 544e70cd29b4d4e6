#pragma once

#include <core/curve/val_any.h>
#include <core/export.h>

#include <string>

CORE_HIDES_STD_BEGIN
namespace core {

/// What a `ValAny` throws when it is read as a kind that it does not hold, and what samples
/// and areas of keyframes throw whose values are no numbers: an `AnyBadAccess` that says
/// which kinds these are. Immutable; any thread.
class CORE_API AnyKindMismatch : public AnyBadAccess {
public:
    /// Kinds as `ValAny::Kind` counts them.
    AnyKindMismatch(int held, int wanted) noexcept;
    AnyKindMismatch(const AnyKindMismatch&) noexcept;
    AnyKindMismatch& operator=(const AnyKindMismatch&) noexcept;
    ~AnyKindMismatch() override;

    /// What the value is.
    int HeldKind() const noexcept { return heldKind; }
    /// What it was read as; `ValAny::kDouble` where a number was wanted for a curve.
    int WantedKind() const noexcept { return wantedKind; }
    /// Both in a line, for people: "a text where a number was wanted". `what` stays
    /// "ValAny Bad Access".
    std::string Message() const;

private:
    int heldKind;
    int wantedKind;
};

}  // namespace core
CORE_HIDES_STD_END
