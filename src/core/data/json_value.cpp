#include <core/data/json_value.h>

#include <core/data/json_kind_mismatch.h>

#include <limits>
#include <string_view>

#include "core/data/json_nodes.h"

namespace core {

using detail::JsonNodes;
using detail::NodeMemory;

namespace {

constexpr double kTwoToThe63 = 0x1p63;

// What the 64-bit processor's truncating conversions give, for every double; in C++ a
// number out of range, or NaN, would be undefined.

std::int64_t Truncate64(double number) noexcept {
    return number >= -kTwoToThe63 && number < kTwoToThe63
               ? static_cast<std::int64_t>(number)
               : std::numeric_limits<std::int64_t>::min();
}

int Truncate32(double number) noexcept {
    // Whole numbers from -2147483648 to 2147483647 after truncation.
    return number > -2147483649.0 && number < 2147483648.0 ? static_cast<int>(number)
                                                           : std::numeric_limits<int>::min();
}

std::uint64_t TruncateUnsigned64(double number) noexcept {
    if (number >= kTwoToThe63) {
        return static_cast<std::uint64_t>(Truncate64(number - kTwoToThe63)) +
               (std::uint64_t{1} << 63);
    }
    return static_cast<std::uint64_t>(Truncate64(number));
}

[[noreturn]] void Refuse(const JsonValue& value, int wanted, const char* name) {
    throw JsonKindMismatch(value.Kind(), wanted, name);
}

/// Throws where `value`, a member of that name or none, is not, or does not convert to, a
/// `T`.
template <class T, class Value>
T Require(Value& value, const char* name = nullptr) {
    T out{};
    if (!value.Get(out)) {
        Refuse(value, detail::kJsonKindOf<T>, name);
    }
    return out;
}

const char* TextOf(const JsonValue& value, const char* name = nullptr) {
    if (!value.IsString()) {
        Refuse(value, JsonValue::kString, name);
    }
    return JsonNodes::String(value).Text();
}

}  // namespace

JsonValue::JsonValue(const JsonValue& other) : JsonValue(other.allocator) {
    *this = other;
}

JsonValue& JsonValue::operator=(const JsonValue& other) {
    if (this == &other) {
        return *this;
    }
    if (other.kind == kString) {
        Set(other.payload.string->Text());
    } else if (other.kind == kArray) {
        Set(*other.payload.array);
    } else if (other.kind == kObject) {
        Set(*other.payload.object);
    } else {
        // Read first: it may be one of the nodes that are cleared.
        const auto otherKind = other.kind;
        const auto otherPayload = other.payload;
        Clear();
        kind = otherKind;
        payload = otherPayload;
    }
    return *this;
}

// Between allocators it copies.
// NOLINTNEXTLINE(performance-noexcept-move-constructor)
JsonValue& JsonValue::operator=(JsonValue&& other) {
    if (allocator != other.allocator) {
        return *this = static_cast<const JsonValue&>(other);
    }
    if (this != &other) {
        // Out of there first: it may be one of the nodes that are cleared.
        const auto otherKind = other.kind;
        const auto otherPayload = other.payload;
        other.kind = kEmpty;
        Clear();
        kind = otherKind;
        payload = otherPayload;
    }
    return *this;
}

void JsonValue::ReleaseNode() noexcept {
    NodeMemory memory = kind == kString ? NodeMemory::ForFew(allocator) : NodeMemory(allocator);
    JsonNodes::Clear(*this, memory);
}

void JsonValue::Set(const char* text, int length) {
    if (text == nullptr) {
        Set(nullptr);
    } else if (kind == kString) {
        payload.string->Assign(text, length);
    } else {
        // The text may lie in what this value holds until the last line.
        JsonValue fresh(allocator);
        fresh.MakeEmptyString().Assign(text, length);
        *this = static_cast<JsonValue&&>(fresh);
    }
}

void JsonValue::Set(const std::string& text) {
    Set(std::string_view(text));
}

void JsonValue::Set(std::string_view text) {
    if (kind == kString) {
        payload.string->Assign(text);
    } else {
        JsonValue fresh(allocator);
        fresh.MakeEmptyString().Assign(text);
        *this = static_cast<JsonValue&&>(fresh);
    }
}

JsonArray& JsonValue::Set(const JsonArray& array) {
    if (kind == kArray) {
        return *payload.array = array;
    }
    JsonValue fresh(allocator);
    fresh.MakeEmptyArray() = array;
    *this = static_cast<JsonValue&&>(fresh);
    return *payload.array;
}

JsonObject& JsonValue::Set(const JsonObject& object) {
    if (kind == kObject) {
        return *payload.object = object;
    }
    JsonValue fresh(allocator);
    fresh.MakeEmptyObject() = object;
    *this = static_cast<JsonValue&&>(fresh);
    return *payload.object;
}

JsonArray& JsonValue::MakeEmptyArray() {
    if (kind == kArray) {
        payload.array->Clear();
        return *payload.array;
    }
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonValue fresh(allocator);
    JsonNodes::MakeArray(fresh, memory);
    *this = static_cast<JsonValue&&>(fresh);
    return *payload.array;
}

JsonObject& JsonValue::MakeEmptyObject() {
    if (kind == kObject) {
        payload.object->Clear();
        return *payload.object;
    }
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonValue fresh(allocator);
    JsonNodes::MakeObject(fresh, memory);
    *this = static_cast<JsonValue&&>(fresh);
    return *payload.object;
}

JsonString& JsonValue::MakeEmptyString() {
    if (kind == kString) {
        payload.string->Clear();
        return *payload.string;
    }
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonValue fresh(allocator);
    JsonNodes::MakeString(fresh, memory);
    *this = static_cast<JsonValue&&>(fresh);
    return *payload.string;
}

bool JsonValue::Get(bool& out) const noexcept {
    switch (kind) {
        case kBool:
            out = payload.boolean;
            return true;
        case kSigned:
        case kUnsigned:
            out = payload.unsigned64 != 0;
            return true;
        default:
            // Kept on purpose: a double is no boolean, though it is every integer.
            return false;
    }
}

bool JsonValue::Get(int& out) const noexcept {
    switch (kind) {
        case kBool:
            out = payload.boolean ? 1 : 0;
            return true;
        case kSigned:
            if (payload.signed64 < std::numeric_limits<int>::min() ||
                payload.signed64 > std::numeric_limits<int>::max()) {
                return false;
            }
            out = static_cast<int>(payload.signed64);
            return true;
        case kUnsigned:
            if (payload.unsigned64 > std::uint64_t{std::numeric_limits<int>::max()}) {
                return false;
            }
            out = static_cast<int>(payload.unsigned64);
            return true;
        case kDouble:
            out = Truncate32(payload.real);
            return true;
        default:
            return false;
    }
}

bool JsonValue::Get(unsigned& out) const noexcept {
    switch (kind) {
        case kBool:
            out = payload.boolean ? 1 : 0;
            return true;
        case kSigned:
        case kUnsigned:
            // A negative number is a large one in these bits.
            if (payload.unsigned64 > std::numeric_limits<unsigned>::max()) {
                return false;
            }
            out = static_cast<unsigned>(payload.unsigned64);
            return true;
        case kDouble:
            // Not the same as "0.0 or above": NaN passes.
            if (payload.real < 0.0) {
                return false;
            }
            out = static_cast<unsigned>(static_cast<std::uint64_t>(Truncate64(payload.real)));
            return true;
        default:
            return false;
    }
}

bool JsonValue::Get(std::int64_t& out) const noexcept {
    switch (kind) {
        case kBool:
            out = payload.boolean ? 1 : 0;
            return true;
        case kSigned:
            out = payload.signed64;
            return true;
        case kUnsigned:
            if (payload.unsigned64 > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
                return false;
            }
            out = static_cast<std::int64_t>(payload.unsigned64);
            return true;
        case kDouble:
            out = Truncate64(payload.real);
            return true;
        default:
            return false;
    }
}

bool JsonValue::Get(std::uint64_t& out) const noexcept {
    switch (kind) {
        case kBool:
            out = payload.boolean ? 1 : 0;
            return true;
        case kSigned:
            if (payload.signed64 < 0) {
                return false;
            }
            out = static_cast<std::uint64_t>(payload.signed64);
            return true;
        case kUnsigned:
            out = payload.unsigned64;
            return true;
        case kDouble:
            if (payload.real < 0.0) {
                return false;
            }
            out = TruncateUnsigned64(payload.real);
            return true;
        default:
            return false;
    }
}

bool JsonValue::Get(double& out) const noexcept {
    switch (kind) {
        case kSigned:
            out = static_cast<double>(payload.signed64);
            return true;
        case kUnsigned:
            out = static_cast<double>(payload.unsigned64);
            return true;
        case kDouble:
            out = payload.real;
            return true;
        default:
            // Kept on purpose: a boolean is no double, though it is every integer.
            return false;
    }
}

bool JsonValue::Get(float& out) const noexcept {
    switch (kind) {
        case kSigned:
            out = static_cast<float>(payload.signed64);
            return true;
        case kUnsigned:
            out = static_cast<float>(payload.unsigned64);
            return true;
        case kDouble:
            out = static_cast<float>(payload.real);
            return true;
        default:
            return false;
    }
}

bool JsonValue::Get(std::string& out) const {
    if (kind != kString) {
        out.clear();
        return false;
    }
    out = payload.string->Text();
    return true;
}

bool JsonValue::Get(JsonArray*& out) noexcept {
    out = kind == kArray ? payload.array : nullptr;
    return out != nullptr;
}

bool JsonValue::Get(const JsonArray*& out) const noexcept {
    out = kind == kArray ? payload.array : nullptr;
    return out != nullptr;
}

bool JsonValue::Get(JsonObject*& out) noexcept {
    out = kind == kObject ? payload.object : nullptr;
    return out != nullptr;
}

bool JsonValue::Get(const JsonObject*& out) const noexcept {
    out = kind == kObject ? payload.object : nullptr;
    return out != nullptr;
}

bool JsonValue::AsBool() const {
    return Require<bool>(*this);
}
int JsonValue::AsInt() const {
    return Require<int>(*this);
}
unsigned JsonValue::AsUint() const {
    return Require<unsigned>(*this);
}
std::int64_t JsonValue::AsInt64() const {
    return Require<std::int64_t>(*this);
}
std::uint64_t JsonValue::AsUint64() const {
    return Require<std::uint64_t>(*this);
}
double JsonValue::AsDouble() const {
    return Require<double>(*this);
}
float JsonValue::AsFloat() const {
    return Require<float>(*this);
}

const char* JsonValue::AsString() const {
    return TextOf(*this);
}

JsonArray& JsonValue::AsArray() {
    return *Require<JsonArray*>(*this);
}
const JsonArray& JsonValue::AsArray() const {
    return *Require<const JsonArray*>(*this);
}
JsonObject& JsonValue::AsObject() {
    return *Require<JsonObject*>(*this);
}
const JsonObject& JsonValue::AsObject() const {
    return *Require<const JsonObject*>(*this);
}

bool JsonMember::AsBool() const {
    return Require<bool>(*this, Name());
}
int JsonMember::AsInt() const {
    return Require<int>(*this, Name());
}
unsigned JsonMember::AsUint() const {
    return Require<unsigned>(*this, Name());
}
std::int64_t JsonMember::AsInt64() const {
    return Require<std::int64_t>(*this, Name());
}
std::uint64_t JsonMember::AsUint64() const {
    return Require<std::uint64_t>(*this, Name());
}
double JsonMember::AsDouble() const {
    return Require<double>(*this, Name());
}
float JsonMember::AsFloat() const {
    return Require<float>(*this, Name());
}
const char* JsonMember::AsString() const {
    return TextOf(*this, Name());
}
JsonArray& JsonMember::AsArray() {
    return *Require<JsonArray*>(*this, Name());
}
const JsonArray& JsonMember::AsArray() const {
    return *Require<const JsonArray*>(*this, Name());
}
JsonObject& JsonMember::AsObject() {
    return *Require<JsonObject*>(*this, Name());
}
const JsonObject& JsonMember::AsObject() const {
    return *Require<const JsonObject*>(*this, Name());
}

}  // namespace core
