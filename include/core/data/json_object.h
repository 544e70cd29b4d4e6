#pragma once

#include <core/data/json_iterator.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace core {

/// One named value of a `JsonObject`, which owns it. Assigning changes its value
/// alone; the name stays.
class CORE_API JsonMember : public JsonValue {
public:
    JsonMember(const JsonMember&) = delete;
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the value sees to it
    JsonMember& operator=(const JsonMember& other) {
        JsonValue::operator=(other);
        return *this;
    }
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    JsonMember& operator=(JsonMember&& other) {
        JsonValue::operator=(static_cast<JsonValue&&>(other));
        return *this;
    }
    /// As those of `JsonValue`.
    using JsonValue::operator=;

    /// Zero-terminated; valid until the name is changed.
    const char* Name() const noexcept { return name->Text(); }
    /// As `JsonString::Assign`.
    void SetName(const char* text) { name->Assign(text); }
    void SetName(const std::string& text) { name->Assign(text); }
    void SetName(std::string_view text) { name->Assign(text); }

    /// As those of `JsonValue`; the `JsonKindMismatch` that they throw has the name.
    bool AsBool() const;
    int AsInt() const;
    unsigned AsUint() const;
    std::int64_t AsInt64() const;
    std::uint64_t AsUint64() const;
    double AsDouble() const;
    float AsFloat() const;
    const char* AsString() const;
    JsonArray& AsArray();
    const JsonArray& AsArray() const;
    JsonObject& AsObject();
    const JsonObject& AsObject() const;

    /// Null after the last one.
    JsonMember* NextSibling() noexcept { return next; }
    const JsonMember* NextSibling() const noexcept { return next; }
    /// The object that the member was added to; after that object was moved from, it
    /// is still that one.
    JsonObject* Parent() noexcept { return parent; }
    const JsonObject* Parent() const noexcept { return parent; }

    /// As with `JsonValue`, for the text of a member: "name" : value. On failure the
    /// name is empty, too. `text` may be the member's own name.
    int Parse(const char* text, int depth = 0);
    /// As with `JsonValue`.
    void Dump(std::string& out) const;
    void DumpToTail(std::string& out) const;
    void PrettyDump(std::string& out, int indent = 0) const;
    void PrettyDumpToTail(std::string& out, int indent = 0) const;

private:
    friend class JsonObject;
    friend struct detail::JsonNodes;

    JsonMember(JsonAllocator* ofObject, JsonString* emptyName, JsonObject* inObject) noexcept
        : JsonValue(nullptr, ofObject), name(emptyName), next(nullptr), parent(inObject) {}

    JsonString* name;
    JsonMember* next;
    JsonObject* parent;
};

/// Named values in the order in which they were added. Names may repeat; all are kept,
/// and the first one is found. Appending is O(1), a name costs a walk from the first
/// member (see `JsonObjectView`). Names and values given to its members may lie inside
/// the object; a null name counts as the empty one, and a name ends at its first zero
/// byte, also where it is looked for.
///
/// Copying, moving, exceptions and threads are as with `JsonValue`: a call that
/// throws changes nothing. Other modules rely on the fields' order.
class CORE_API JsonObject {
public:
    /// Forward iterators over the members.
    using iterator = detail::JXIterator<JsonMember>;
    using const_iterator = detail::JXIterator<const JsonMember>;

    /// Empty. The allocator outlives the object; null means the default one.
    JsonObject() noexcept : JsonObject(nullptr) {}
    explicit JsonObject(JsonAllocator* ofNodes) noexcept
        : allocator(ofNodes != nullptr ? ofNodes : JsonDefaultAllocator::Instance()),
          count(0),
          first(nullptr),
          last(nullptr) {}
    /// A deep copy in the allocator of `other`.
    JsonObject(const JsonObject& other);
    /// Takes allocator and members over; `other` is left empty.
    JsonObject(JsonObject&& other) noexcept;
    JsonObject& operator=(const JsonObject& other);
    /// Takes the members over where both have one allocator, else copies.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    JsonObject& operator=(JsonObject&& other);
    ~JsonObject() { Clear(); }

    /// The number of members.
    int Count() const noexcept { return count; }
    /// Where nodes come from; never null.
    JsonAllocator* Allocator() const noexcept { return allocator; }
    /// Null when empty.
    JsonMember* First() noexcept { return first; }
    const JsonMember* First() const noexcept { return first; }
    /// The range of all members.
    iterator begin() noexcept { return iterator(first); }
    iterator end() noexcept { return iterator(); }
    const_iterator begin() const noexcept { return const_iterator(first); }
    const_iterator end() const noexcept { return const_iterator(); }

    /// The first member with this name, or null. O(n).
    JsonMember* Find(const char* name) noexcept;
    JsonMember* Find(const std::string& name) noexcept;
    JsonMember* Find(std::string_view name) noexcept;
    const JsonMember* Find(const char* name) const noexcept;
    const JsonMember* Find(const std::string& name) const noexcept;
    const JsonMember* Find(std::string_view name) const noexcept;

    /// The first member with this name; where there is none, a new null one at the end.
    JsonMember& operator[](const char* name);
    JsonMember& operator[](const std::string& name);
    JsonMember& operator[](std::string_view name);

    /// The first member with this name; a null one without a name, which belongs to no
    /// object, where there is none. Adds nothing.
    const JsonMember& operator[](const char* name) const noexcept;
    const JsonMember& operator[](const std::string& name) const noexcept;
    const JsonMember& operator[](std::string_view name) const noexcept;
    /// The same in the type of `fallback`, as `JsonValue::ValueOr` has it; `fallback` also
    /// where no member has this name.
    ///
    ///     const std::string title = clip.ValueOr("title", "untitled");
    template <class T,
              std::enable_if_t<detail::kIsJsonScalar<T> || detail::kIsJsonText<T>, int> = 0>
    detail::JsonAnswer<T> ValueOr(std::string_view name, const T& fallback) const {
        return (*this)[name].ValueOr(fallback);
    }

    /// Appends a null, a copy of a value, or an empty container under `name`, next to
    /// any other of that name, and answers the new member or container. Throws
    /// `std::length_error` at 2147483647 members, or as `JsonString::Assign`.
    JsonMember& Add(const char* name, std::nullptr_t);
    JsonMember& Add(const std::string& name, std::nullptr_t);
    JsonMember& Add(std::string_view name, std::nullptr_t);
    JsonMember& Add(const char* name, const JsonValue& value);
    JsonMember& Add(const std::string& name, const JsonValue& value);
    JsonMember& Add(std::string_view name, const JsonValue& value);
    /// Takes the value over where it has the object's allocator, else copies it. The object
    /// must not lie inside it.
    JsonMember& Add(const char* name, JsonValue&& value);
    JsonMember& Add(const std::string& name, JsonValue&& value);
    JsonMember& Add(std::string_view name, JsonValue&& value);
    /// The same for a boolean, a number, a text, as `JsonValue::Set` has them.
    template <class Name, class T, std::enable_if_t<detail::kIsJsonScalar<T>, int> = 0>
    JsonMember& Add(const Name& name, T scalar) {
        JsonMember& member = Add(name, nullptr);
        member.Set(scalar);
        return member;
    }
    template <class Name, class T, std::enable_if_t<detail::kIsJsonText<T>, int> = 0>
    JsonMember& Add(const Name& name, const T& text) {
        JsonValue value(allocator);
        value.Set(text);
        return Add(name, static_cast<JsonValue&&>(value));
    }
    JsonArray& AddArray(const char* name);
    JsonArray& AddArray(const std::string& name);
    JsonArray& AddArray(std::string_view name);
    JsonObject& AddObject(const char* name);
    JsonObject& AddObject(const std::string& name);
    JsonObject& AddObject(std::string_view name);

    /// Gives the first member of a name another one and keeps its place. False, changing
    /// nothing, when there is none, or when another member has that name already.
    bool Rename(std::string_view from, std::string_view to);
    /// Removes the members for which `isUnwanted(const JsonMember&)` holds and answers how
    /// many these were. O(n). Where it throws, those before it are gone.
    template <class Predicate>
    int RemoveIf(Predicate isUnwanted) {
        const int before = count;
        JsonMember* kept = nullptr;
        for (JsonMember* at = first; at != nullptr;) {
            JsonMember* const behind = at->next;
            if (isUnwanted(static_cast<const JsonMember&>(*at))) {
                EraseAfter(kept);
            } else {
                kept = at;
            }
            at = behind;
        }
        return before - count;
    }
    /// Removes the first member of that name, or this very member. False, changing
    /// nothing, when the object does not hold it.
    bool Erase(const char* name) noexcept;
    bool Erase(const std::string& name) noexcept;
    bool Erase(std::string_view name) noexcept;
    bool Erase(JsonMember& member) noexcept;
    /// Removes all members.
    void Clear() noexcept;

    /// As with `JsonValue`, but the text must be an object, and lie outside this one,
    /// which is emptied first; on failure it stays empty.
    int Parse(const char* text, int depth = 0);
    /// As with `JsonValue`.
    void Dump(std::string& out) const;
    void DumpToTail(std::string& out) const;
    void PrettyDump(std::string& out, int indent = 0) const;
    void PrettyDumpToTail(std::string& out, int indent = 0) const;

private:
    friend struct detail::JsonNodes;

    template <class Name, class Fill>
    JsonMember& Append(const Name& name, Fill fill);
    template <class IsIt>
    bool EraseFirst(IsIt isIt) noexcept;
    void EraseAfter(JsonMember* before) noexcept;

    JsonAllocator* allocator;
    std::int32_t count;
    JsonMember* first;
    JsonMember* last;
};

/// For structured bindings: a member is its name and its value. The value is no member, so that
/// `Dump` writes it alone.
///
///     for (auto& [name, value] : object) { ... }
template <std::size_t kIndex>
decltype(auto) get(JsonMember& member) noexcept {
    if constexpr (kIndex == 0) {
        return std::string_view(member.Name());
    } else {
        return static_cast<JsonValue&>(member);
    }
}
template <std::size_t kIndex>
decltype(auto) get(const JsonMember& member) noexcept {
    if constexpr (kIndex == 0) {
        return std::string_view(member.Name());
    } else {
        return static_cast<const JsonValue&>(member);
    }
}

}  // namespace core

/// @cond
template <>
struct std::tuple_size<core::JsonMember> : std::integral_constant<std::size_t, 2> {};
template <std::size_t kIndex>
struct std::tuple_element<kIndex, core::JsonMember> {
    using type = decltype(core::get<kIndex>(std::declval<core::JsonMember&>()));
};
template <std::size_t kIndex>
struct std::tuple_element<kIndex, const core::JsonMember> {
    using type = decltype(core::get<kIndex>(std::declval<const core::JsonMember&>()));
};
/// @endcond
