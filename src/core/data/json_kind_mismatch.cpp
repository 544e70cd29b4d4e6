#include <core/data/json_kind_mismatch.h>

#include <core/data/json_value.h>

#include <exception>

namespace core {
namespace {

const char* NameOfKind(int kind) noexcept {
    switch (kind) {
        case JsonValue::kEmpty:
            return "nothing";
        case JsonValue::kNull:
            return "null";
        case JsonValue::kBool:
            return "a boolean";
        case JsonValue::kString:
            return "a text";
        case JsonValue::kArray:
            return "an array";
        case JsonValue::kObject:
            return "an object";
        default:
            return "a number";
    }
}

bool IsNumber(int kind) noexcept {
    return kind >= JsonValue::kSigned && kind <= JsonValue::kDouble;
}

std::shared_ptr<const std::string> Held(const char* name) noexcept {
    if (name == nullptr || *name == '\0') {
        return nullptr;
    }
    try {
        return std::make_shared<const std::string>(name);
    } catch (const std::exception&) {
        return nullptr;  // the kinds are said all the same
    }
}

}  // namespace

JsonKindMismatch::JsonKindMismatch(int held, int wanted, const char* member) noexcept
    : heldKind(held), wantedKind(wanted), name(Held(member)) {}
JsonKindMismatch::JsonKindMismatch(const JsonKindMismatch&) noexcept = default;
JsonKindMismatch& JsonKindMismatch::operator=(const JsonKindMismatch&) noexcept = default;
JsonKindMismatch::~JsonKindMismatch() = default;

const char* JsonKindMismatch::MemberName() const noexcept {
    return name != nullptr ? name->c_str() : "";
}

std::string JsonKindMismatch::Message() const {
    std::string text = name != nullptr ? '"' + *name + "\": " : "";
    text += NameOfKind(heldKind);
    if (IsNumber(heldKind) && IsNumber(wantedKind)) {
        return text + " that does not fit the integer that was wanted";
    }
    const bool isInteger = wantedKind == JsonValue::kSigned || wantedKind == JsonValue::kUnsigned;
    return text + " where " + (isInteger ? "an integer" : NameOfKind(wantedKind)) + " was wanted";
}

}  // namespace core
