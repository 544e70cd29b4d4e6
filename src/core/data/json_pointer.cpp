#include <core/data/json_pointer.h>

#include <core/data/json_array.h>
#include <core/data/json_object.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace core {
namespace {

/// Takes the tokens of a JSON Pointer one by one.
class Tokens {
public:
    explicit Tokens(std::string_view pointer) noexcept : rest(pointer) {}

    bool AreAll() const noexcept { return rest.empty(); }
    /// The next token, without "~"; false where there is none, or no JSON Pointer.
    bool Take(std::string& token) {
        if (rest.empty() || rest.front() != '/') {
            return false;
        }
        const std::size_t end = std::min(rest.find('/', 1), rest.size());
        token.assign(rest.substr(1, end - 1));
        rest.remove_prefix(end);
        return Unescape(token);
    }
    /// Whether what is left is a part of a JSON Pointer.
    static bool IsGood(std::string_view pointer) noexcept {
        for (std::size_t at = pointer.find('~'); at != std::string_view::npos;
             at = pointer.find('~', at + 1)) {
            const char next = at + 1 < pointer.size() ? pointer[at + 1] : '\0';
            if (next != '0' && next != '1') {
                return false;
            }
        }
        return pointer.empty() || pointer.front() == '/';
    }

private:
    static bool Unescape(std::string& token) noexcept {
        auto to = token.begin();
        for (auto from = token.begin(); from != token.end(); ++from) {
            *to = *from;
            if (*from == '~') {
                ++from;
                if (from == token.end() || (*from != '0' && *from != '1')) {
                    return false;
                }
                *to = *from == '0' ? '~' : '/';
            }
            ++to;
        }
        token.erase(to, token.end());
        return true;
    }

    std::string_view rest;
};

/// The element that a token counts, "-" the one behind the last; -1 where it is no number
/// of that form.
int IndexOf(const std::string& token, int count) noexcept {
    if (token == "-") {
        return count;
    }
    int index = -1;
    const char* const end = token.data() + token.size();
    const std::from_chars_result read = std::from_chars(token.data(), end, index);
    const bool isPlain = read.ec == std::errc() && read.ptr == end && token.front() != '-' &&
                         (token.size() == 1 || token.front() != '0');
    return isPlain ? index : -1;
}

/// The child of a container that a token names; null where there is none.
JsonValue* ChildOf(JsonValue& value, const std::string& token) {
    JsonObject* object = nullptr;
    JsonArray* array = nullptr;
    if (value.Get(object)) {
        return object->Find(token);
    }
    if (value.Get(array)) {
        const int index = IndexOf(token, array->Count());
        return index >= 0 && index < array->Count() ? &(*array)[index] : nullptr;
    }
    return nullptr;
}

bool StartsArray(const std::string& token) noexcept {
    return token == "-" || token == "0";
}

/// Makes the child of an empty or null value that a token names.
JsonValue& MakeFirstChild(JsonValue& value, const std::string& token) {
    return StartsArray(token)
               ? static_cast<JsonValue&>(value.MakeEmptyArray().Add(nullptr))
               : static_cast<JsonValue&>(value.MakeEmptyObject().Add(token, nullptr));
}

}  // namespace

JsonValue* FindByPointer(JsonValue& root, std::string_view pointer) {
    JsonValue* value = &root;
    std::string token;
    for (Tokens tokens(pointer); value != nullptr && !tokens.AreAll();) {
        value = tokens.Take(token) ? ChildOf(*value, token) : nullptr;
    }
    return value;
}

const JsonValue* FindByPointer(const JsonValue& root, std::string_view pointer) {
    return FindByPointer(const_cast<JsonValue&>(root), pointer);
}

JsonValue* MakeByPointer(JsonValue& root, std::string_view pointer) {
    if (!Tokens::IsGood(pointer)) {
        return nullptr;
    }
    JsonValue* value = &root;
    std::string token;
    Tokens tokens(pointer);
    bool isThere = true;
    while (isThere && !tokens.AreAll()) {
        tokens.Take(token);
        JsonValue* const child = ChildOf(*value, token);
        isThere = child != nullptr;
        value = isThere ? child : value;
    }
    if (isThere) {
        return value;
    }
    JsonArray* array = nullptr;
    JsonObject* object = nullptr;
    if (value->Get(array) ? IndexOf(token, array->Count()) != array->Count()
                          : !value->Get(object) && !value->IsNull() && !value->IsEmpty()) {
        return nullptr;
    }
    // What is below the missing child is made aside, and put in its place at the end.
    const std::string missing = token;
    JsonValue below(nullptr, value->Allocator());
    JsonValue* leaf = nullptr;
    while (!tokens.AreAll()) {
        tokens.Take(token);
        leaf = &MakeFirstChild(leaf != nullptr ? *leaf : below, token);
    }
    JsonValue* child = nullptr;
    if (array != nullptr) {
        child = &array->Add(std::move(below));
    } else if (object != nullptr) {
        child = &object->Add(missing, std::move(below));
    } else {
        JsonValue around(value->Allocator());
        child = &MakeFirstChild(around, missing);
        *child = std::move(below);
        *value = std::move(around);
    }
    return leaf != nullptr ? leaf : child;
}

JsonValue* SetByPointer(JsonValue& root, std::string_view pointer, const JsonValue& value) {
    // Copied first: it may lie in the tree, and a failure must not leave half of the way.
    JsonValue copy(root.Allocator());
    copy = value;
    JsonValue* const place = MakeByPointer(root, pointer);
    if (place != nullptr) {
        *place = std::move(copy);
    }
    return place;
}

JsonValue* SetByPointer(JsonValue& root, std::string_view pointer, std::nullptr_t) {
    JsonValue* const place = MakeByPointer(root, pointer);
    if (place != nullptr) {
        place->Set(nullptr);
    }
    return place;
}

bool EraseByPointer(JsonValue& root, std::string_view pointer) {
    const std::size_t last = pointer.rfind('/');
    if (last == std::string_view::npos) {
        return false;
    }
    JsonValue* const around = FindByPointer(root, pointer.substr(0, last));
    JsonValue* const value = FindByPointer(root, pointer);
    if (around == nullptr || value == nullptr) {
        return false;
    }
    JsonObject* object = nullptr;
    return around->Get(object) ? object->Erase(static_cast<JsonMember&>(*value))
                               : around->AsArray().Erase(static_cast<JsonElem&>(*value));
}

}  // namespace core
