#pragma once

#include <core/data/json_allocator.h>
#include <core/data/json_bad_access.h>
#include <core/data/json_string.h>
#include <core/data/value_types.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace core {

class JsonArray;
class JsonObject;

/// A JSON value: nothing, null, a boolean, a number, a text, an array or an object.
///
/// Scalars are held in place; texts, arrays and objects are nodes from the value's
/// allocator, which it does not own and keeps for life. A copy that is made of a value
/// has that value's allocator: one out of a `JsonDoc` dies with the document. Assigning
/// copies the content into the target's own allocator, and so into safety. A tree may be
/// of any depth: copying, clearing and destroying need no stack for it.
///
/// One thread at a time; several may read. Exceptions of the allocator pass through,
/// and an assignment that throws one leaves the target as it was, unless said
/// otherwise. Other modules rely on the fields' order.
///
///     JsonDoc doc;
///     JsonObject& clip = doc.CreateRootObject();
///     clip["speed"] = 1.5;
///     clip.AddArray("tags").Add("draft");
class CORE_API JsonValue {
public:
    /// The codes that `Kind()` answers. Values above 100 own a node.
    enum : std::int32_t {
        kEmpty = 0,
        kNull = 1,
        kBool = 2,
        kSigned = 3,
        kUnsigned = 4,
        kDouble = 5,
        kString = 101,
        kArray = 102,
        kObject = 103,
    };

    /// Empty, which is not null: a value that was never set.
    JsonValue() noexcept : JsonValue(static_cast<JsonAllocator*>(nullptr)) {}
    JsonValue(std::nullptr_t) noexcept : JsonValue(nullptr, nullptr) {}
    /// Empty, or null, with an allocator that outlives this value; a null pointer
    /// means the default one.
    explicit JsonValue(JsonAllocator* ofNodes) noexcept : JsonValue(ofNodes, kEmpty) {}
    JsonValue(std::nullptr_t, JsonAllocator* ofNodes) noexcept : JsonValue(ofNodes, kNull) {}
    /// A deep copy in the allocator of `other`, which must outlive it.
    JsonValue(const JsonValue& other);
    /// Takes allocator and content over and leaves `other` empty.
    JsonValue(JsonValue&& other) noexcept
        : allocator(other.allocator), kind(other.kind), payload(other.payload) {
        other.kind = kEmpty;
    }
    /// `other` may lie inside this value.
    JsonValue& operator=(const JsonValue& other);
    /// Where both have one allocator, takes the content over and leaves `other`
    /// empty; else copies, and `other` stays. `other` may lie inside this value,
    /// but this value not inside `other`: that would close a circle.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    JsonValue& operator=(JsonValue&& other);
    /// As `Set`: a boolean, a number, a text.
    template <class T, std::enable_if_t<detail::kIsJsonScalar<T>, int> = 0>
    JsonValue& operator=(T scalar) noexcept {
        Set(scalar);
        return *this;
    }
    template <class T, std::enable_if_t<detail::kIsJsonText<T>, int> = 0>
    JsonValue& operator=(const T& text) {
        Set(text);
        return *this;
    }
    ~JsonValue() { Clear(); }

    /// Releases the content; the value is empty afterwards.
    void Clear() noexcept {
        if (OwnsNode()) {
            ReleaseNode();
        }
        kind = kEmpty;
    }

    /// 0 empty, 1 null, 2 boolean, 3 signed, 4 unsigned, 5 double, 101 string,
    /// 102 array, 103 object.
    int Kind() const noexcept { return kind; }
    /// What the value is. Null is not empty.
    bool IsEmpty() const noexcept { return kind == kEmpty; }
    bool IsNull() const noexcept { return kind == kNull; }
    bool IsBool() const noexcept { return kind == kBool; }
    /// Signed, unsigned or double; a boolean is not a number.
    bool IsNumber() const noexcept { return kind >= kSigned && kind <= kDouble; }
    /// What the value is, exactly: a number is held in one of three ways.
    bool IsSigned() const noexcept { return kind == kSigned; }
    bool IsUnsigned() const noexcept { return kind == kUnsigned; }
    bool IsDouble() const noexcept { return kind == kDouble; }
    bool IsString() const noexcept { return kind == kString; }
    bool IsArray() const noexcept { return kind == kArray; }
    bool IsObject() const noexcept { return kind == kObject; }
    /// Where nodes come from; never null.
    JsonAllocator* Allocator() const noexcept { return allocator; }

    /// Replaces the content by a scalar; never allocates.
    void Set(std::nullptr_t) noexcept {
        Clear();
        kind = kNull;
    }
    void Set(bool value) noexcept {
        Clear();
        payload.boolean = value;
        kind = kBool;
    }
    void Set(int value) noexcept { Set(std::int64_t{value}); }
    void Set(unsigned value) noexcept { Set(std::uint64_t{value}); }
    void Set(std::int64_t value) noexcept {
        Clear();
        payload.signed64 = value;
        kind = kSigned;
    }
    void Set(std::uint64_t value) noexcept {
        Clear();
        payload.unsigned64 = value;
        kind = kUnsigned;
    }
    void Set(double value) noexcept {
        Clear();
        payload.real = value;
        kind = kDouble;
    }
    /// The other 64-bit or 32-bit integer types, by their signedness.
    template <class T, std::enable_if_t<detail::kIsLong<T>, int> = 0>
    void Set(T value) noexcept {
        Set(static_cast<detail::SameInteger<T>>(value));
    }
    /// A text of `length` bytes, or up to its terminating zero when `length` is below
    /// 0. It may lie inside this value; a null pointer sets null. Throws
    /// `std::length_error` from 2147483647 bytes on.
    void Set(const char* text, int length = -1);
    void Set(const std::string& text);
    void Set(std::string_view text);
    /// Deep copies of a container, which may lie inside this value; answers the
    /// contained node.
    JsonArray& Set(const JsonArray& array);
    JsonObject& Set(const JsonObject& object);
    /// No other pointer is a value; in particular, none turns into a boolean.
    template <class T, std::enable_if_t<!std::is_same<std::remove_cv_t<T>, char>::value, int> = 0>
    void Set(T*) = delete;

    /// Makes this an empty container or text and answers its node, which lives until
    /// the value gets another kind. A node of that kind is emptied and kept.
    JsonArray& MakeEmptyArray();
    JsonObject& MakeEmptyObject();
    JsonString& MakeEmptyString();

    /// The value in the wanted type; throws `JsonBadAccess`, as a `JsonKindMismatch`, where
    /// it does not convert.
    ///
    /// Integers convert to every number type, to integers only when in range, and to
    /// booleans (not 0). A boolean converts to integers, 0 or 1, but not to double or
    /// float. A double converts to double, float and, truncated, to integers, to
    /// unsigned ones only when not below 0.0, but not to bool; one too large for the
    /// integer, or NaN, gives what the processor's conversion gives: the smallest
    /// number for `int` and 64-bit signed, the low 32 bits of the latter for
    /// `unsigned`, and for 64-bit unsigned 0 from 2^64 upward and 2^63 for NaN.
    /// Texts, arrays and objects convert to nothing else.
    bool AsBool() const;
    int AsInt() const;
    unsigned AsUint() const;
    std::int64_t AsInt64() const;
    std::uint64_t AsUint64() const;
    double AsDouble() const;
    float AsFloat() const;
    /// Zero-terminated; valid until this value is changed.
    const char* AsString() const;
    /// The node itself, which lives until the value gets another kind.
    JsonArray& AsArray();
    const JsonArray& AsArray() const;
    JsonObject& AsObject();
    const JsonObject& AsObject() const;

    /// Stores the value in the wanted type, by the rules of the accessors above. False
    /// where it does not convert: then `out` stays as it was, but a string is emptied
    /// and a pointer null.
    bool Get(bool& out) const noexcept;
    bool Get(int& out) const noexcept;
    bool Get(unsigned& out) const noexcept;
    bool Get(std::int64_t& out) const noexcept;
    bool Get(std::uint64_t& out) const noexcept;
    bool Get(double& out) const noexcept;
    bool Get(float& out) const noexcept;
    template <class T, std::enable_if_t<detail::kIsLong<T>, int> = 0>
    bool Get(T& out) const noexcept {
        detail::SameInteger<T> number = 0;
        if (!Get(number)) {
            return false;
        }
        out = static_cast<T>(number);
        return true;
    }
    bool Get(std::string& out) const;
    bool Get(JsonArray*& out) noexcept;
    bool Get(const JsonArray*& out) const noexcept;
    bool Get(JsonObject*& out) noexcept;
    bool Get(const JsonObject*& out) const noexcept;

    /// The value in the type of `fallback`, by the same rules; `fallback` where it does not
    /// convert. A text comes as a `std::string`.
    ///
    ///     const double gain = track["gain"].ValueOr(1.0);
    template <class T,
              std::enable_if_t<detail::kIsJsonScalar<T> || detail::kIsJsonText<T>, int> = 0>
    detail::JsonAnswer<T> ValueOr(const T& fallback) const {
        detail::JsonAnswer<T> out{};
        if (!Get(out)) {
            out = fallback;
        }
        return out;
    }

    /// Reads one value from zero-terminated JSON text at nesting level `depth`, 0 at
    /// the top: containers at levels above 80 must be empty. Answers how many bytes it
    /// takes, white space in front included; what follows is not looked at. On failure,
    /// a null `text` and more than 2147483647 bytes included, -1, and the value is
    /// empty, as it is after an exception of the allocator.
    ///
    /// `text` may be the value's own text, but no other part of its content. No white
    /// space but the bytes 9 to 13 and 32, no check of UTF-8. Numbers are what `strtoll`
    /// and, where it stops at ".", "e" or "E", `strtod` make of them in the "C" locale,
    /// so that leading zeros and "1." are taken; integers too large for 64 bits with a
    /// sign become unsigned ones, as 9223372036854775807 does when errno is ERANGE.
    int Parse(const char* text, int depth = 0);

    /// JSON text: `Dump` replaces `out`, `DumpToTail` appends. The pretty forms break
    /// and indent lines; `indent` is the number of spaces at which the enclosing line
    /// stands, 0 at the top.
    ///
    /// Doubles keep 8 decimals, 15 from 1e8 on, and 63 characters: 1e-9 comes back as 0,
    /// and 1e300 as another number. NaN and the infinities, which a number such as 1e400
    /// is read as, are written as "nan" and "inf", which `Parse` refuses, and with them
    /// the whole text.
    void Dump(std::string& out) const;
    void DumpToTail(std::string& out) const;
    void PrettyDump(std::string& out, int indent = 0) const;
    void PrettyDumpToTail(std::string& out, int indent = 0) const;

private:
    friend struct detail::JsonNodes;

    JsonValue(JsonAllocator* ofNodes, std::int32_t scalar) noexcept
        : allocator(ofNodes != nullptr ? ofNodes : JsonDefaultAllocator::Instance()), kind(scalar) {
        payload.unsigned64 = 0;
    }
    bool OwnsNode() const noexcept { return kind > 100; }
    void ReleaseNode() noexcept;

    JsonAllocator* allocator;
    std::int32_t kind;
    union {
        bool boolean;
        std::int64_t signed64;
        std::uint64_t unsigned64;
        double real;
        JsonString* string;
        JsonArray* array;
        JsonObject* object;
        /// Only while a tree is cleared: the value whose container this one is in.
        JsonValue* owner;
    } payload;
};

namespace detail {

/// The kind that a read as `T` asks for.
template <class T>
inline constexpr int kJsonKindOf =
    std::is_same<T, bool>::value          ? JsonValue::kBool
    : std::is_floating_point<T>::value    ? JsonValue::kDouble
    : std::is_unsigned<T>::value          ? JsonValue::kUnsigned
    : std::is_integral<T>::value          ? JsonValue::kSigned
    : std::is_same<T, std::string>::value ? JsonValue::kString
    : std::is_same<T, JsonArray*>::value || std::is_same<T, const JsonArray*>::value
        ? JsonValue::kArray
        : JsonValue::kObject;

}  // namespace detail

}  // namespace core
