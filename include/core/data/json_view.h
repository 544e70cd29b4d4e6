#pragma once

#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>
#include <core/export.h>

#include <memory>
#include <string>
#include <string_view>

CORE_HIDES_STD_BEGIN
namespace core {

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

private:
    struct Record;
    std::unique_ptr<Record> p_impl;
};

}  // namespace core
CORE_HIDES_STD_END
