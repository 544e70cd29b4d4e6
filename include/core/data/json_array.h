#pragma once

#include <core/data/json_iterator.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace core {

/// One element of a `JsonArray`, which owns it. Assigning changes its value alone.
class CORE_API JsonElem : public JsonValue {
public:
    JsonElem(const JsonElem&) = delete;
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the value sees to it
    JsonElem& operator=(const JsonElem& other) {
        JsonValue::operator=(other);
        return *this;
    }
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    JsonElem& operator=(JsonElem&& other) {
        JsonValue::operator=(static_cast<JsonValue&&>(other));
        return *this;
    }
    /// As those of `JsonValue`.
    using JsonValue::operator=;

    /// Null after the last one.
    JsonElem* NextSibling() noexcept { return next; }
    const JsonElem* NextSibling() const noexcept { return next; }
    /// The array that the element was added to; after that array was moved from, it
    /// is still that one.
    JsonArray* Parent() noexcept { return parent; }
    const JsonArray* Parent() const noexcept { return parent; }

private:
    friend class JsonArray;
    friend struct detail::JsonNodes;

    JsonElem(JsonAllocator* ofArray, JsonArray* inArray) noexcept
        : JsonValue(nullptr, ofArray), next(nullptr), parent(inArray) {}

    JsonElem* next;
    JsonArray* parent;
};

/// A list of values. Appending is O(1), an index costs a walk from the first one
/// (see `JsonArrayView`). Values given to its members may lie inside the array.
///
/// Copying, moving, exceptions and threads are as with `JsonValue`: a call that
/// throws changes nothing. Other modules rely on the fields' order.
class CORE_API JsonArray {
public:
    /// Forward iterators over the elements.
    using iterator = detail::JXIterator<JsonElem>;
    using const_iterator = detail::JXIterator<const JsonElem>;

    /// Empty. The allocator outlives the array; null means the default one.
    JsonArray() noexcept : JsonArray(nullptr) {}
    explicit JsonArray(JsonAllocator* ofNodes) noexcept
        : allocator(ofNodes != nullptr ? ofNodes : JsonDefaultAllocator::Instance()),
          count(0),
          first(nullptr),
          last(nullptr) {}
    /// A deep copy in the allocator of `other`.
    JsonArray(const JsonArray& other);
    /// Takes allocator and elements over; `other` is left empty.
    JsonArray(JsonArray&& other) noexcept;
    JsonArray& operator=(const JsonArray& other);
    /// Takes the elements over where both have one allocator, else copies.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    JsonArray& operator=(JsonArray&& other);
    ~JsonArray() { Clear(); }

    /// The number of elements.
    int Count() const noexcept { return count; }
    /// Where nodes come from; never null.
    JsonAllocator* Allocator() const noexcept { return allocator; }
    /// Null when empty.
    JsonElem* First() noexcept { return first; }
    const JsonElem* First() const noexcept { return first; }
    /// The range of all elements.
    iterator begin() noexcept { return iterator(first); }
    iterator end() noexcept { return iterator(); }
    const_iterator begin() const noexcept { return const_iterator(first); }
    const_iterator end() const noexcept { return const_iterator(); }

    /// Appends a null, a copy of a value, or an empty container, and answers the new
    /// element or container. Throws `std::length_error` at 2147483647 elements.
    JsonElem& Add(std::nullptr_t);
    JsonElem& Add(const JsonValue& value);
    /// Takes the value over where it has the array's allocator, else copies it, as
    /// `JsonValue` does when it is assigned to. The array must not lie inside it.
    JsonElem& Add(JsonValue&& value);
    /// Appends a boolean, a number, a text, as `JsonValue::Set` has them.
    template <class T, std::enable_if_t<detail::kIsJsonScalar<T>, int> = 0>
    JsonElem& Add(T scalar) {
        JsonElem& element = Add(nullptr);
        element.Set(scalar);
        return element;
    }
    template <class T, std::enable_if_t<detail::kIsJsonText<T>, int> = 0>
    JsonElem& Add(const T& text) {
        JsonValue value(allocator);
        value.Set(text);
        return Add(static_cast<JsonValue&&>(value));
    }
    JsonArray& AddArray();
    JsonObject& AddObject();

    /// Element `i`, counted from 0; the first one for an `i` below 0. Past the end it
    /// answers a null element that belongs to no array: a value that this thread may
    /// write to, but that is null again after its next such call.
    JsonElem& operator[](int i);
    const JsonElem& operator[](int i) const;

    /// The same in front of element `i`: at the start for an `i` below 0, at the end for one
    /// past it.
    template <class T>
    JsonElem& Insert(int i, T&& value) {
        JsonElem& element = Add(std::forward<T>(value));
        Move(count - 1, i < 0 ? 0 : i < count ? i : count - 1);
        return element;
    }
    /// Puts element `from` where it is number `to` then; those between move up by one. False,
    /// changing nothing, unless both are in the array. O(n).
    bool Move(int from, int to) noexcept;
    /// Has two elements change places; else as `Move`.
    bool Swap(int i, int j) noexcept;
    /// Removes the elements for which `isUnwanted(const JsonValue&)` holds and answers how
    /// many these were. O(n). Where it throws, those before it are gone.
    template <class Predicate>
    int RemoveIf(Predicate isUnwanted) {
        const int before = count;
        JsonElem* kept = nullptr;
        for (JsonElem* at = first; at != nullptr;) {
            JsonElem* const behind = at->next;
            if (isUnwanted(static_cast<const JsonValue&>(*at))) {
                EraseAfter(kept);
            } else {
                kept = at;
            }
            at = behind;
        }
        return before - count;
    }
    /// Sorts by `isLess(const JsonValue&, const JsonValue&)`; equal elements keep their order.
    /// O(n log n). The order stays as it was where `isLess`, or memory, throws.
    template <class Less>
    void SortBy(Less isLess) {
        std::vector<JsonElem*> order;
        order.reserve(static_cast<std::size_t>(count));
        for (JsonElem& element : *this) {
            order.push_back(&element);
        }
        std::stable_sort(order.begin(), order.end(), [&isLess](JsonElem* a, JsonElem* b) {
            return isLess(static_cast<const JsonValue&>(*a), static_cast<const JsonValue&>(*b));
        });
        Relink(order.data());
    }

    /// Removes an element: number `i`, the first one for an `i` below 0, or this very
    /// one. False, changing nothing, when the array does not hold it.
    bool Erase(int i) noexcept;
    bool Erase(JsonElem& element) noexcept;
    /// Appends nulls, or removes elements from the end, until there are `n`; none for
    /// an `n` below 0.
    void Resize(int n);
    /// Removes all elements.
    void Clear() noexcept;

    /// As with `JsonValue`, but the text must be an array, and lie outside this one, which
    /// is emptied first; on failure it stays empty.
    int Parse(const char* text, int depth = 0);
    /// As with `JsonValue`.
    void Dump(std::string& out) const;
    void DumpToTail(std::string& out) const;
    void PrettyDump(std::string& out, int indent = 0) const;
    void PrettyDumpToTail(std::string& out, int indent = 0) const;

private:
    friend struct detail::JsonNodes;

    template <class Fill>
    JsonElem& Append(Fill fill);
    bool EraseAfter(JsonElem* before) noexcept;
    /// `order` has each element once.
    void Relink(JsonElem* const* order) noexcept;

    JsonAllocator* allocator;
    std::int32_t count;
    JsonElem* first;
    JsonElem* last;
};

}  // namespace core
