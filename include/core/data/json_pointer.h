#pragma once

#include <core/data/json_kind_mismatch.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace core {

// Places in a tree by JSON Pointer (RFC 6901): "" is the root, "/tracks/0/gain" a member of
// an element. "~1" stands for "/" in a name and "~0" for "~". Of several members with one
// name the first is meant. A call takes as long as the look-ups on the way; pointers from
// anywhere are safe.

/// The value at a place, or null: no such member or element, or no JSON Pointer. Where it
/// has to be of a kind, `ValueByPointer` says which place was not.
CORE_API JsonValue* FindByPointer(JsonValue& root, std::string_view pointer);
CORE_API const JsonValue* FindByPointer(const JsonValue& root, std::string_view pointer);

/// The value at a place in the wanted type, which is any that `JsonValue::Get` stores: a
/// boolean, a number, `std::string`, `const JsonArray*` or `const JsonObject*`.
///
/// Throws a `JsonKindMismatch` with the pointer as its `MemberName` where it does not
/// convert; it holds `kEmpty` where there is no such place, or `pointer` is no JSON Pointer.
///
///     const double gain = ValueByPointer<double>(project, "/tracks/0/gain");
template <class T, class = decltype(std::declval<const JsonValue&>().Get(std::declval<T&>()))>
T ValueByPointer(const JsonValue& root, std::string_view pointer) {
    T out{};
    const JsonValue* const value = FindByPointer(root, pointer);
    if (value == nullptr || !value->Get(out)) {
        throw JsonKindMismatch(value != nullptr ? value->Kind() : JsonValue::kEmpty,
                               detail::kJsonKindOf<T>, std::string(pointer).c_str());
    }
    return out;
}

/// The value at a place in the type of `fallback`, as `JsonValue::ValueOr` has it; `fallback`
/// also where there is none.
template <class T, std::enable_if_t<detail::kIsJsonScalar<T> || detail::kIsJsonText<T>, int> = 0>
detail::JsonAnswer<T> ValueByPointerOr(const JsonValue& root, std::string_view pointer,
                                       const T& fallback) {
    const JsonValue* const value = FindByPointer(root, pointer);
    return value != nullptr ? value->ValueOr(fallback) : detail::JsonAnswer<T>(fallback);
}

/// The value at a place; what is missing on the way is made, with null at its end.
///
/// What is null or empty becomes an array where "-" or "0" names its first element, else an
/// object. In an array, "-" and the number behind its last one append an element; a number
/// beyond is refused. Null, changing nothing, where that, or a scalar, is in the way, or
/// where `pointer` is no JSON Pointer. Throws what the allocator throws; nothing is changed
/// then.
CORE_API JsonValue* MakeByPointer(JsonValue& root, std::string_view pointer);

/// Sets the value at a place, which is made as `MakeByPointer` does: a boolean, a number, a
/// text, null, or a copy of a value. Answers it, or null where it can't be made.
CORE_API JsonValue* SetByPointer(JsonValue& root, std::string_view pointer, const JsonValue& value);
CORE_API JsonValue* SetByPointer(JsonValue& root, std::string_view pointer, std::nullptr_t);
template <class T, std::enable_if_t<detail::kIsJsonScalar<T> || detail::kIsJsonText<T>, int> = 0>
JsonValue* SetByPointer(JsonValue& root, std::string_view pointer, const T& value) {
    JsonValue held;
    held.Set(value);
    return SetByPointer(root, pointer, static_cast<const JsonValue&>(held));
}

/// Removes the member or element at a place. False, changing nothing, when there is none;
/// the root can't be removed.
CORE_API bool EraseByPointer(JsonValue& root, std::string_view pointer);

}  // namespace core
