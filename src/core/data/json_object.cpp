#include <core/data/json_object.h>

#include <cstring>
#include <string_view>

#include "core/data/json_nodes.h"

namespace core {

using detail::JsonNodes;
using detail::NodeMemory;

namespace {

// Names are compared as readers see them, up to the first zero byte.
bool IsName(const JsonMember& member, const char* name) noexcept {
    return std::strcmp(member.Name(), name) == 0;
}
bool IsName(const JsonMember& member, std::string_view upToZero) noexcept {
    return upToZero == member.Name();
}
std::string_view UpToZero(std::string_view name) noexcept {
    return name.substr(0, name.find('\0'));
}

template <class Name>
const JsonMember* FirstNamed(const JsonObject& object, const Name& name) noexcept {
    for (const JsonMember& member : object) {
        if (IsName(member, name)) {
            return &member;
        }
    }
    return nullptr;
}

}  // namespace

JsonObject::JsonObject(const JsonObject& other) : JsonObject(other.allocator) {
    *this = other;
}

JsonObject::JsonObject(JsonObject&& other) noexcept : JsonObject(other.allocator) {
    JsonNodes::TakeOver(other, *this);
}

JsonObject& JsonObject::operator=(const JsonObject& other) {
    if (this != &other) {
        NodeMemory memory(allocator);
        JsonNodes::Copy(other, *this, memory);
    }
    return *this;
}

// Between allocators it copies.
// NOLINTNEXTLINE(performance-noexcept-move-constructor)
JsonObject& JsonObject::operator=(JsonObject&& other) {
    if (allocator != other.allocator) {
        return *this = static_cast<const JsonObject&>(other);
    }
    if (this != &other) {
        // Its members first: it may be in one of ours.
        JsonObject taken(static_cast<JsonObject&&>(other));
        Clear();
        JsonNodes::TakeOver(taken, *this);
    }
    return *this;
}

const JsonMember* JsonObject::Find(const char* name) const noexcept {
    return FirstNamed(*this, name != nullptr ? name : "");
}

const JsonMember* JsonObject::Find(const std::string& name) const noexcept {
    return FirstNamed(*this, name.c_str());
}

const JsonMember* JsonObject::Find(std::string_view name) const noexcept {
    return FirstNamed(*this, UpToZero(name));
}

JsonMember* JsonObject::Find(const char* name) noexcept {
    return const_cast<JsonMember*>(static_cast<const JsonObject*>(this)->Find(name));
}

JsonMember* JsonObject::Find(const std::string& name) noexcept {
    return const_cast<JsonMember*>(static_cast<const JsonObject*>(this)->Find(name));
}

JsonMember* JsonObject::Find(std::string_view name) noexcept {
    return const_cast<JsonMember*>(static_cast<const JsonObject*>(this)->Find(name));
}

JsonMember& JsonObject::operator[](const char* name) {
    JsonMember* const found = Find(name);
    return found != nullptr ? *found : Add(name, nullptr);
}

JsonMember& JsonObject::operator[](const std::string& name) {
    JsonMember* const found = Find(name);
    return found != nullptr ? *found : Add(name, nullptr);
}

JsonMember& JsonObject::operator[](std::string_view name) {
    JsonMember* const found = Find(name);
    return found != nullptr ? *found : Add(name, nullptr);
}

const JsonMember& JsonObject::operator[](const char* name) const noexcept {
    const JsonMember* const found = Find(name);
    return found != nullptr ? *found : JsonNodes::NoMember();
}

const JsonMember& JsonObject::operator[](const std::string& name) const noexcept {
    return (*this)[name.c_str()];
}

const JsonMember& JsonObject::operator[](std::string_view name) const noexcept {
    const JsonMember* const found = Find(name);
    return found != nullptr ? *found : JsonNodes::NoMember();
}

bool JsonObject::Rename(std::string_view from, std::string_view to) {
    JsonMember* const member = Find(from);
    const JsonMember* const other = Find(to);
    if (member == nullptr || (other != nullptr && other != member)) {
        return false;
    }
    member->SetName(to);
    return true;
}

// The member is filled before it is in the list: what goes into it may be the value
// that owns this object.
template <class Name, class Fill>
JsonMember& JsonObject::Append(const Name& name, Fill fill) {
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonMember* const member = JsonNodes::NewMember(*this, memory);
    try {
        member->SetName(name);
        fill(*member);
    } catch (...) {
        JsonNodes::Delete(member, memory);
        throw;
    }
    return JsonNodes::Append(*this, member);
}

JsonMember& JsonObject::Add(const char* name, std::nullptr_t) {
    return Append(name, [](JsonMember&) {});
}

JsonMember& JsonObject::Add(const std::string& name, std::nullptr_t) {
    return Append(name, [](JsonMember&) {});
}

JsonMember& JsonObject::Add(std::string_view name, std::nullptr_t) {
    return Append(name, [](JsonMember&) {});
}

JsonMember& JsonObject::Add(const char* name, const JsonValue& value) {
    return Append(name, [&value](JsonMember& member) { member = value; });
}

JsonMember& JsonObject::Add(const std::string& name, const JsonValue& value) {
    return Append(name, [&value](JsonMember& member) { member = value; });
}

JsonMember& JsonObject::Add(std::string_view name, const JsonValue& value) {
    return Append(name, [&value](JsonMember& member) { member = value; });
}

JsonMember& JsonObject::Add(const char* name, JsonValue&& value) {
    return Append(name, [&](JsonMember& member) { member = static_cast<JsonValue&&>(value); });
}

JsonMember& JsonObject::Add(const std::string& name, JsonValue&& value) {
    return Append(name, [&](JsonMember& member) { member = static_cast<JsonValue&&>(value); });
}

JsonMember& JsonObject::Add(std::string_view name, JsonValue&& value) {
    return Append(name, [&](JsonMember& member) { member = static_cast<JsonValue&&>(value); });
}

JsonArray& JsonObject::AddArray(const char* name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyArray(); }).AsArray();
}

JsonArray& JsonObject::AddArray(const std::string& name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyArray(); }).AsArray();
}

JsonArray& JsonObject::AddArray(std::string_view name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyArray(); }).AsArray();
}

JsonObject& JsonObject::AddObject(const char* name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyObject(); }).AsObject();
}

JsonObject& JsonObject::AddObject(const std::string& name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyObject(); }).AsObject();
}

JsonObject& JsonObject::AddObject(std::string_view name) {
    return Append(name, [](JsonMember& member) { member.MakeEmptyObject(); }).AsObject();
}

template <class IsIt>
bool JsonObject::EraseFirst(IsIt isIt) noexcept {
    JsonMember* before = nullptr;
    for (JsonMember* member = first; member != nullptr; member = member->next) {
        if (isIt(*member)) {
            EraseAfter(before);
            return true;
        }
        before = member;
    }
    return false;
}

void JsonObject::EraseAfter(JsonMember* before) noexcept {
    JsonMember*& link = before != nullptr ? before->next : first;
    JsonMember* const member = link;
    link = member->next;
    if (last == member) {
        last = before;
    }
    --count;
    member->Clear();
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonNodes::Delete(member, memory);
}

bool JsonObject::Erase(const char* name) noexcept {
    const char* const wanted = name != nullptr ? name : "";
    return EraseFirst([wanted](const JsonMember& member) { return IsName(member, wanted); });
}

bool JsonObject::Erase(const std::string& name) noexcept {
    return Erase(name.c_str());
}

bool JsonObject::Erase(std::string_view name) noexcept {
    const std::string_view wanted = UpToZero(name);
    return EraseFirst([wanted](const JsonMember& member) { return IsName(member, wanted); });
}

bool JsonObject::Erase(JsonMember& wanted) noexcept {
    return EraseFirst([&wanted](const JsonMember& member) { return &member == &wanted; });
}

void JsonObject::Clear() noexcept {
    if (first != nullptr) {
        NodeMemory memory(allocator);
        JsonNodes::Clear(*this, memory);
    }
}

}  // namespace core
