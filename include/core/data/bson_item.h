#pragma once

#include <core/data/value_types.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

CORE_HIDES_STD_BEGIN
namespace core {

/// One decoded item of packed data: nothing, nil, a boolean, a number, a text, or the
/// header of an array ("tuple") or a map.
///
///     BsonItem item;
///     int frames = 0;
///     unpacker >> item;
///     if (!item.Get(frames)) ...       // no integer, or none that fits an int
///
/// A plain value: no locking, one thread at a time.
class CORE_API BsonItem {
public:
    /// The codes that `Kind()` answers.
    enum : std::int32_t {
        kNone = 0,
        kNil = 1,
        kBool = 2,
        kInt8 = 3,
        kInt16 = 4,
        kInt32 = 5,
        kInt64 = 6,
        kUint8 = 7,
        kUint16 = 8,
        kUint32 = 9,
        kUint64 = 10,
        kFloat = 11,
        kDouble = 12,
        kString = 13,
        kTuple = 14,
        kMap = 15,
    };

    /// One of the codes above.
    std::int32_t Kind() const noexcept { return kind; }
    /// Whether anything was decoded or set.
    explicit operator bool() const noexcept { return kind != kNone; }
    /// What the item is. A float is any floating-point number, a tuple the header of an
    /// array.
    bool IsNull() const noexcept { return kind == kNil; }
    bool IsBool() const noexcept { return kind == kBool; }
    bool IsInteger() const noexcept { return kind >= kInt8 && kind <= kUint64; }
    bool IsFloat() const noexcept { return kind == kFloat || kind == kDouble; }
    bool IsString() const noexcept { return kind == kString; }
    bool IsTuple() const noexcept { return kind == kTuple; }
    bool IsMap() const noexcept { return kind == kMap; }

    /// Nil, or a boolean.
    void Set(std::nullptr_t) noexcept;
    void Set(bool value) noexcept;
    /// Replaces the low byte of the number and leaves the others; the kind becomes
    /// `kUint8`.
    void Set(signed char value) noexcept;
    /// Replaces the low byte of the number and leaves the others; the kind becomes
    /// `kInt16`, so that a wider number set before shows in the answer.
    void Set(unsigned char value) noexcept;
    /// The kind that belongs to the type, signed or not, of 2, 4 or 8 bytes.
    void Set(short value) noexcept;
    void Set(unsigned short value) noexcept;
    void Set(int value) noexcept;
    void Set(unsigned value) noexcept;
    void Set(std::int64_t value) noexcept;
    void Set(std::uint64_t value) noexcept;
    void Set(float value) noexcept;
    void Set(double value) noexcept;
    /// Copies `len` bytes, or up to the terminating zero if `len` is negative; null
    /// counts as empty.
    void Set(const char* value, int len = -1);
    void Set(const std::string& value);
    /// The other integer types, as the one of the same size and sign.
    template <class T, std::enable_if_t<detail::kIsLong<T>, int> = 0>
    void Set(T value) noexcept {
        Set(static_cast<detail::SameInteger<T>>(value));
    }
    /// Any other pointer would be set as a boolean.
    void Set(const void*) = delete;
    /// The header of an array, of a map.
    void SetTupleSize(std::int32_t elements) noexcept;
    void SetMapSize(std::int32_t pairs) noexcept;

    // Each answers false to an item of another kind, and stores nothing then.

    /// The boolean of an item of that kind.
    bool Get(bool& value) const noexcept;
    /// An item of any integer kind, where its number fits.
    bool Get(signed char& value) const noexcept;
    bool Get(unsigned char& value) const noexcept;
    bool Get(short& value) const noexcept;
    bool Get(unsigned short& value) const noexcept;
    bool Get(int& value) const noexcept;
    bool Get(unsigned& value) const noexcept;
    bool Get(std::int64_t& value) const noexcept;
    bool Get(std::uint64_t& value) const noexcept;
    template <class T, std::enable_if_t<detail::kIsLong<T>, int> = 0>
    bool Get(T& value) const noexcept {
        detail::SameInteger<T> number = 0;
        if (!Get(number)) {
            return false;
        }
        value = static_cast<T>(number);
        return true;
    }
    /// Either kind of floating-point number. A double beyond a float's range becomes
    /// infinite.
    bool Get(float& value) const noexcept;
    bool Get(double& value) const noexcept;
    /// The zero-terminated text, valid until the item changes; null with false.
    bool Get(const char*& value) const noexcept;
    /// A copy of the text.
    bool Get(std::string& value) const;
    /// What the header of an array, of a map promises.
    bool GetTupleSize(std::int32_t& elements) const noexcept;
    bool GetMapSize(std::int32_t& pairs) const noexcept;

private:
    friend class BsonUnpacker;

    template <class T>
    bool GetInteger(T& value) const noexcept;
    /// Stores a number in the low `bytes` bytes and leaves the others.
    void SetBits(std::int32_t newKind, std::uint64_t value, int bytes) noexcept;

    std::int32_t kind = kNone;
    /// The number: an integer or the bits of a float in the low bytes, as many as the
    /// kind has.
    std::uint64_t bits = 0;
    std::string text;
};

}  // namespace core
CORE_HIDES_STD_END
