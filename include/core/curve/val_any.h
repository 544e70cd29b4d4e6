#pragma once

#include <core/curve/pointd.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

/// Thrown when a `ValAny` is read as a kind that it does not hold: as an
/// `AnyKindMismatch`, which says what it holds.
class CORE_API AnyBadAccess : public std::exception {
public:
    AnyBadAccess() noexcept;
    AnyBadAccess(const AnyBadAccess&) noexcept;
    AnyBadAccess& operator=(const AnyBadAccess&) noexcept;
    ~AnyBadAccess() override;

    /// "ValAny Bad Access".
    const char* what() const noexcept override;
};

/// A heap object owned by one `ValAny`.
class IBoxedObj {
public:
    virtual ~IBoxedObj() = default;
    /// A new box with an equal value; the caller owns it.
    virtual IBoxedObj* Clone() const = 0;
    /// The boxed object; its type follows from the kind of the `ValAny`.
    virtual const void* Value() const noexcept = 0;

protected:
    IBoxedObj() = default;
    IBoxedObj(const IBoxedObj&) = default;
    IBoxedObj& operator=(const IBoxedObj&) = default;
};

/// The box of a `T`.
template <class T>
class BoxedObj final : public IBoxedObj {
public:
    /// The box owns its copy.
    explicit BoxedObj(T value) : boxed(std::move(value)) {}
    IBoxedObj* Clone() const override { return new BoxedObj(boxed); }
    const void* Value() const noexcept override { return &boxed; }

private:
    T boxed;
};

/// A small tagged value: none, a boolean, a number, a `Pointd` or a text.
///
/// Numbers and booleans are held in place and never allocate; points and texts
/// are boxed, and copying the value clones the box. A plain value: no locking,
/// one thread at a time.
///
///     ValAny opacity = 0.5;
///     ValAny title = "Opening";
///     double half = opacity.AsDouble();
///     title.AsDouble();                      // throws AnyBadAccess
class ValAny {
public:
    /// The codes that `Kind()` answers. Codes from 255 on are boxed.
    enum : std::int32_t {
        kNone = 0,
        kBool = 1,
        kInt = 2,
        kUnsigned = 3,
        kInt64 = 4,
        kUnsigned64 = 5,
        kFloat = 6,
        kDouble = 7,
        kFirstBoxed = 255,
        kPoint = 272,
        kString = 288,
    };

    /// The integer zero, which a new keyframe holds.
    ValAny() noexcept : kind(kInt) { payload.signed64 = 0; }
    /// None: what getters answer when there is nothing to return.
    ValAny(std::nullptr_t) noexcept : kind(kNone) { payload.signed64 = 0; }

    /// Any built-in number or boolean, in the smallest kind of its signedness.
    /// A `long double` is held as a double.
    template <class T, std::enable_if_t<std::is_arithmetic<T>::value, int> = 0>
    ValAny(T value) noexcept : kind(KindOf<T>()) {
        if constexpr (std::is_same<T, bool>::value) {
            payload.signed64 = value ? 1 : 0;
        } else if constexpr (std::is_same<T, float>::value) {
            payload.signed64 = 0;
            payload.single = value;
        } else if constexpr (std::is_floating_point<T>::value) {
            payload.real = static_cast<double>(value);
        } else if constexpr (std::is_signed<T>::value) {
            payload.signed64 = static_cast<std::int64_t>(value);
        } else {
            payload.unsigned64 = static_cast<std::uint64_t>(value);
        }
    }

    /// A point or a text, boxed.
    ValAny(const Pointd& value) : kind(kPoint) { payload.box = new BoxedObj<Pointd>(value); }
    ValAny(std::string value) : kind(kString) {
        payload.box = new BoxedObj<std::string>(std::move(value));
    }
    /// A text; a null pointer gives none.
    ValAny(const char* text) : ValAny(nullptr) {
        if (text != nullptr) {
            *this = ValAny(std::string(text));
        }
    }
    /// No other pointer is a value; in particular, none turns into a boolean.
    template <class T, std::enable_if_t<!std::is_same<std::remove_cv_t<T>, char>::value, int> = 0>
    ValAny(T*) = delete;

    ValAny(const ValAny& other) : payload(other.payload), kind(other.kind) {
        if (IsBoxed()) {
            payload.box = other.payload.box->Clone();
        }
    }
    /// Leaves `other` none.
    ValAny(ValAny&& other) noexcept : payload(other.payload), kind(other.kind) {
        other.kind = kNone;
    }
    ValAny& operator=(const ValAny& other) {
        ValAny copy(other);
        return *this = std::move(copy);
    }
    ValAny& operator=(ValAny&& other) noexcept {
        std::swap(payload, other.payload);
        std::swap(kind, other.kind);
        return *this;
    }
    ~ValAny() {
        if (IsBoxed()) {
            delete payload.box;
        }
    }

    /// The kind code: 0 none, 1 boolean, 2 int, 3 unsigned, 4 and 5 the 64-bit
    /// integers, 6 float, 7 double, 272 point, 288 text.
    int Kind() const noexcept { return kind; }
    /// Whether it is none; the integer zero is not.
    bool IsEmpty() const noexcept { return kind == kNone; }
    /// Whether `AsDouble` and `AsInt` answer. A boolean is not a number.
    bool IsNumber() const noexcept { return kind >= kInt && kind <= kDouble; }

    /// The boolean; throws `AnyBadAccess` for any other kind.
    bool AsBool() const {
        Require(kBool);
        return payload.signed64 != 0;
    }
    /// The number, truncated toward zero; one outside the range of `int` gives
    /// the nearer bound, NaN gives 0. Throws `AnyBadAccess` for other kinds.
    int AsInt() const { return kind == kInt ? static_cast<int>(payload.signed64) : ConvertToInt(); }
    /// The number as a double; throws `AnyBadAccess` for other kinds.
    double AsDouble() const { return kind == kDouble ? payload.real : ConvertToDouble(); }
    /// The point; throws `AnyBadAccess` for any other kind.
    Pointd AsPoint() const {
        Require(kPoint);
        return *static_cast<const Pointd*>(payload.box->Value());
    }
    /// The text; throws `AnyBadAccess` for any other kind.
    std::string AsString() const {
        Require(kString);
        return *static_cast<const std::string*>(payload.box->Value());
    }

private:
    template <class T>
    static constexpr std::int32_t KindOf() noexcept {
        if (std::is_same<T, bool>::value) {
            return kBool;
        }
        if (std::is_floating_point<T>::value) {
            return std::is_same<T, float>::value ? kFloat : kDouble;
        }
        if (std::is_signed<T>::value) {
            return sizeof(T) <= 4 ? kInt : kInt64;
        }
        return sizeof(T) <= 4 ? kUnsigned : kUnsigned64;
    }

    bool IsBoxed() const noexcept { return kind >= kFirstBoxed; }
    void Require(std::int32_t wanted) const {
        if (kind != wanted) {
            Refuse(wanted);
        }
    }
    [[noreturn]] CORE_API void Refuse(std::int32_t wanted) const;
    CORE_API int ConvertToInt() const;
    CORE_API double ConvertToDouble() const;

    // Integers and booleans are widened to 64 bits, so that every byte of the
    // payload is written.
    union {
        std::int64_t signed64;
        std::uint64_t unsigned64;
        float single;
        double real;
        IBoxedObj* box;
    } payload;
    std::int32_t kind;
};

}  // namespace core
CORE_HIDES_STD_END
