#pragma once

#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

CORE_HIDES_STD_BEGIN
namespace core {

namespace detail {

/// Walks the entries of a view.
template <class Entry>
class JsonViewIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    JsonViewIterator() noexcept = default;
    explicit JsonViewIterator(Entry* const* start) noexcept : at(start) {}

    Entry& operator*() const noexcept { return **at; }
    Entry* operator->() const noexcept { return *at; }
    Entry& operator[](difference_type n) const noexcept { return *at[n]; }
    JsonViewIterator& operator++() noexcept { return *this += 1; }
    JsonViewIterator& operator--() noexcept { return *this -= 1; }
    JsonViewIterator operator++(int) noexcept { return JsonViewIterator(at++); }
    JsonViewIterator operator--(int) noexcept { return JsonViewIterator(at--); }
    JsonViewIterator& operator+=(difference_type n) noexcept {
        at += n;
        return *this;
    }
    JsonViewIterator& operator-=(difference_type n) noexcept { return *this += -n; }
    friend JsonViewIterator operator+(JsonViewIterator a, difference_type n) noexcept {
        return a += n;
    }
    friend JsonViewIterator operator+(difference_type n, JsonViewIterator a) noexcept {
        return a += n;
    }
    friend JsonViewIterator operator-(JsonViewIterator a, difference_type n) noexcept {
        return a -= n;
    }
    friend difference_type operator-(JsonViewIterator a, JsonViewIterator b) noexcept {
        return a.at - b.at;
    }
    friend bool operator==(JsonViewIterator a, JsonViewIterator b) noexcept { return a.at == b.at; }
    friend bool operator!=(JsonViewIterator a, JsonViewIterator b) noexcept { return a.at != b.at; }
    friend bool operator<(JsonViewIterator a, JsonViewIterator b) noexcept { return a.at < b.at; }
    friend bool operator>(JsonViewIterator a, JsonViewIterator b) noexcept { return b < a; }
    friend bool operator<=(JsonViewIterator a, JsonViewIterator b) noexcept { return !(b < a); }
    friend bool operator>=(JsonViewIterator a, JsonViewIterator b) noexcept { return !(a < b); }

private:
    Entry* const* at = nullptr;
};

}  // namespace detail

/// Index over the elements of an array, for random access in O(1).
///
/// A snapshot: it does not follow changes of the array, whose elements must live as
/// long as they are asked for. One thread at a time; several may read.
///
///     const JsonArrayView view(array);
///     for (int i = 0; i < view.Count(); ++i) { Use(view[i]); }
class CORE_API JsonArrayView {
public:
    /// Indexes the array: O(n).
    explicit JsonArrayView(const JsonArray& array);
    JsonArrayView(const JsonArrayView&) = delete;
    JsonArrayView& operator=(const JsonArrayView&) = delete;
    ~JsonArrayView();

    /// Indexes this array from now on.
    void View(const JsonArray& array);
    /// The number of elements.
    int Count() const noexcept;
    /// `i` is not checked: 0 <= i < Count().
    const JsonValue& operator[](int i) const noexcept;
    /// The range of all elements, in order.
    using const_iterator = detail::JsonViewIterator<const JsonValue>;
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> p_impl;
};

/// The same over an array whose values may be changed through it.
class CORE_API JsonArrayAccessor {
public:
    /// Indexes the array: O(n).
    explicit JsonArrayAccessor(JsonArray& array);
    JsonArrayAccessor(const JsonArrayAccessor&) = delete;
    JsonArrayAccessor& operator=(const JsonArrayAccessor&) = delete;
    ~JsonArrayAccessor();

    /// Indexes this array from now on.
    void Access(JsonArray& array);
    /// The number of elements.
    int Count() const noexcept;
    /// `i` is not checked: 0 <= i < Count().
    JsonValue& operator[](int i) const noexcept;
    /// The range of all elements, in order.
    using iterator = detail::JsonViewIterator<JsonValue>;
    iterator begin() const noexcept;
    iterator end() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> p_impl;
};

/// Index over the members of an object, for access by name in O(1); a snapshot like
/// `JsonArrayView`. Of several members with one name the first is found, and they
/// count once.
class CORE_API JsonObjectView {
public:
    /// Indexes the object: O(n).
    explicit JsonObjectView(const JsonObject& object);
    JsonObjectView(const JsonObjectView&) = delete;
    JsonObjectView& operator=(const JsonObjectView&) = delete;
    ~JsonObjectView();

    /// Indexes this object from now on.
    void View(const JsonObject& object);
    /// The number of different names.
    int Count() const noexcept;
    /// Null when no member has this name.
    const JsonValue* Find(const char* name) const noexcept;
    const JsonValue* Find(const std::string& name) const noexcept;
    const JsonValue* Find(std::string_view name) const noexcept;
    /// The range of the members that are found, in the object's order.
    using const_iterator = detail::JsonViewIterator<const JsonMember>;
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> p_impl;
};

/// The same over an object whose values may be changed through it.
class CORE_API JsonObjectAccessor {
public:
    /// Indexes the object: O(n).
    explicit JsonObjectAccessor(JsonObject& object);
    JsonObjectAccessor(const JsonObjectAccessor&) = delete;
    JsonObjectAccessor& operator=(const JsonObjectAccessor&) = delete;
    ~JsonObjectAccessor();

    /// Indexes this object from now on.
    void Access(JsonObject& object);
    /// The number of different names.
    int Count() const noexcept;
    /// Null when no member has this name.
    JsonValue* Find(const char* name) const noexcept;
    JsonValue* Find(const std::string& name) const noexcept;
    JsonValue* Find(std::string_view name) const noexcept;
    /// The range of the members that are found, in the object's order.
    using iterator = detail::JsonViewIterator<JsonMember>;
    iterator begin() const noexcept;
    iterator end() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> p_impl;
};

}  // namespace core
CORE_HIDES_STD_END
