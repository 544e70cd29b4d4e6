#pragma once

#include <core/data/json_bad_access.h>
#include <core/export.h>

#include <memory>
#include <string>

CORE_HIDES_STD_BEGIN
namespace core {

/// What a `JsonValue` throws when it is read as a kind that it does not convert to: a
/// `JsonBadAccess` that says which kinds these are, and which member the value is.
///
///     } catch (const core::JsonKindMismatch& error) {
///         Report(error.Message());        // "gain": a text where a number was wanted
///     }
///
/// Immutable; copies are cheap and throw nothing. Any thread.
class CORE_API JsonKindMismatch : public JsonBadAccess {
public:
    /// Kinds as `JsonValue::Kind` counts them. `name` is copied; null or "" for a value that
    /// is no member, or is read as a plain `JsonValue`, as an element is, or what the `Find` of
    /// a `JsonObjectView` answers.
    JsonKindMismatch(int held, int wanted, const char* name = nullptr) noexcept;
    JsonKindMismatch(const JsonKindMismatch&) noexcept;
    JsonKindMismatch& operator=(const JsonKindMismatch&) noexcept;
    ~JsonKindMismatch() override;

    /// What the value is.
    int HeldKind() const noexcept { return heldKind; }
    /// What it was read as: `JsonValue::kSigned` and `kUnsigned` for integers of any size,
    /// `kDouble` for `AsFloat` too. Equal to `HeldKind` where an integer does not fit.
    int WantedKind() const noexcept { return wantedKind; }
    /// The member's name, or the JSON Pointer that `ValueByPointer` was given; "" where
    /// neither is known. Valid as long as the exception.
    const char* MemberName() const noexcept;
    /// All of it in a line, for people. `what` stays "Json bad access".
    std::string Message() const;

private:
    int heldKind;
    int wantedKind;
    std::shared_ptr<const std::string> name;
};

}  // namespace core
CORE_HIDES_STD_END
