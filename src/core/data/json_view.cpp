#include <core/data/json_view.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace core {

namespace {

constexpr std::size_t kBuckets = 8;
constexpr float kMaxLoad = 1.0F;

/// Lets a name be looked up without making a string of it.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept {
        return std::hash<std::string_view>()(name);
    }
};

// `Value` is JsonValue, const or not, and the container likewise.

template <class Value>
class ArrayIndex {
public:
    template <class Array>
    explicit ArrayIndex(Array& array) {
        values.reserve(static_cast<std::size_t>(array.Count()));
        for (Value& value : array) {
            values.push_back(&value);
        }
    }
    int Count() const noexcept { return static_cast<int>(values.size()); }
    Value& operator[](int i) const noexcept { return *values[static_cast<std::size_t>(i)]; }
    Value* const* Begin() const noexcept { return values.data(); }

private:
    std::vector<Value*> values;
};

template <class Value, class Member>
class ObjectIndex {
public:
    template <class Object>
    explicit ObjectIndex(Object& object) : values(kBuckets) {
        values.max_load_factor(kMaxLoad);
        for (auto& member : object) {
            // The first of a name stays.
            if (values.try_emplace(member.Name(), &member).second) {
                members.push_back(&member);
            }
        }
    }
    int Count() const noexcept { return static_cast<int>(values.size()); }
    Value* Find(std::string_view name) const noexcept {
        const auto found = values.find(name);
        return found != values.end() ? found->second : nullptr;
    }

    Member* const* Begin() const noexcept { return members.data(); }

private:
    std::unordered_map<std::string, Value*, NameHash, std::equal_to<>> values;
    std::vector<Member*> members;
};

/// Up to the first zero byte, as the members' own names.
std::string_view NameOf(const char* name) noexcept {
    return name != nullptr ? name : "";
}
std::string_view NameOf(const std::string& name) noexcept {
    return name.c_str();
}
std::string_view NameOf(std::string_view name) noexcept {
    return name.substr(0, name.find('\0'));
}

}  // namespace

struct JsonArrayView::Record : ArrayIndex<const JsonValue> {
    using ArrayIndex::ArrayIndex;
};

JsonArrayView::JsonArrayView(const JsonArray& array) : p_impl(new Record(array)) {}
JsonArrayView::~JsonArrayView() = default;
void JsonArrayView::View(const JsonArray& array) {
    *p_impl = Record(array);
}
int JsonArrayView::Count() const noexcept {
    return p_impl->Count();
}
const JsonValue& JsonArrayView::operator[](int i) const noexcept {
    return (*p_impl)[i];
}
JsonArrayView::const_iterator JsonArrayView::begin() const noexcept {
    return const_iterator(p_impl->Begin());
}
JsonArrayView::const_iterator JsonArrayView::end() const noexcept {
    return begin() + Count();
}

struct JsonArrayAccessor::Record : ArrayIndex<JsonValue> {
    using ArrayIndex::ArrayIndex;
};

JsonArrayAccessor::JsonArrayAccessor(JsonArray& array) : p_impl(new Record(array)) {}
JsonArrayAccessor::~JsonArrayAccessor() = default;
void JsonArrayAccessor::Access(JsonArray& array) {
    *p_impl = Record(array);
}
int JsonArrayAccessor::Count() const noexcept {
    return p_impl->Count();
}
JsonValue& JsonArrayAccessor::operator[](int i) const noexcept {
    return (*p_impl)[i];
}
JsonArrayAccessor::iterator JsonArrayAccessor::begin() const noexcept {
    return iterator(p_impl->Begin());
}
JsonArrayAccessor::iterator JsonArrayAccessor::end() const noexcept {
    return begin() + Count();
}

struct JsonObjectView::Record : ObjectIndex<const JsonValue, const JsonMember> {
    using ObjectIndex::ObjectIndex;
};

JsonObjectView::JsonObjectView(const JsonObject& object) : p_impl(new Record(object)) {}
JsonObjectView::~JsonObjectView() = default;
void JsonObjectView::View(const JsonObject& object) {
    *p_impl = Record(object);
}
int JsonObjectView::Count() const noexcept {
    return p_impl->Count();
}
const JsonValue* JsonObjectView::Find(const char* name) const noexcept {
    return p_impl->Find(NameOf(name));
}
const JsonValue* JsonObjectView::Find(const std::string& name) const noexcept {
    return p_impl->Find(NameOf(name));
}
const JsonValue* JsonObjectView::Find(std::string_view name) const noexcept {
    return p_impl->Find(NameOf(name));
}
JsonObjectView::const_iterator JsonObjectView::begin() const noexcept {
    return const_iterator(p_impl->Begin());
}
JsonObjectView::const_iterator JsonObjectView::end() const noexcept {
    return begin() + Count();
}

struct JsonObjectAccessor::Record : ObjectIndex<JsonValue, JsonMember> {
    using ObjectIndex::ObjectIndex;
};

JsonObjectAccessor::JsonObjectAccessor(JsonObject& object) : p_impl(new Record(object)) {}
JsonObjectAccessor::~JsonObjectAccessor() = default;
void JsonObjectAccessor::Access(JsonObject& object) {
    *p_impl = Record(object);
}
int JsonObjectAccessor::Count() const noexcept {
    return p_impl->Count();
}
JsonValue* JsonObjectAccessor::Find(const char* name) const noexcept {
    return p_impl->Find(NameOf(name));
}
JsonValue* JsonObjectAccessor::Find(const std::string& name) const noexcept {
    return p_impl->Find(NameOf(name));
}
JsonValue* JsonObjectAccessor::Find(std::string_view name) const noexcept {
    return p_impl->Find(NameOf(name));
}
JsonObjectAccessor::iterator JsonObjectAccessor::begin() const noexcept {
    return iterator(p_impl->Begin());
}
JsonObjectAccessor::iterator JsonObjectAccessor::end() const noexcept {
    return begin() + Count();
}

}  // namespace core
