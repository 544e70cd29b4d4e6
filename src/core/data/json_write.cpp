#include <core/data/json_write.h>

#include "core/data/json_parser.h"
#include "core/data/json_places.h"
#include "core/data/json_writer.h"
#include "core/data/utf8.h"

#include <core/foundation/save_file.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>

namespace core {
namespace {

bool IsUtf8(const char* text) noexcept {
    const char* const end = text + std::strlen(text);
    return detail::ValidUtf8End(text, end, end) == end;
}

bool HasContent(const JsonValue& value) {
    const JsonArray* array = nullptr;
    const JsonObject* object = nullptr;
    return (value.Get(array) && array->Count() > 0) || (value.Get(object) && object->Count() > 0);
}

/// Why a value can't be written; null when it can, whatever is in it.
const char* ReasonAgainst(const detail::TreeWalk& walk, const JsonWriteOptions& options) {
    const JsonValue& value = walk.Value();
    if (options.notFinite == JsonNotFinite::Refuse && value.IsDouble() &&
        !std::isfinite(value.AsDouble())) {
        return "a number that is not finite";
    }
    if (options.encoding == JsonEncoding::Utf8) {
        if (walk.Member() != nullptr && !IsUtf8(walk.Member()->Name())) {
            return "a name that is no UTF-8";
        }
        if (value.IsString() && !IsUtf8(value.AsString())) {
            return "a text that is no UTF-8";
        }
    }
    if (walk.Depth() > static_cast<std::size_t>(detail::kDeepestLevel) && HasContent(value)) {
        return "nested deeper than 81 levels";
    }
    return nullptr;
}

bool AreAllowed(const detail::JsonTraits& traits, const JsonWriteOptions& options) noexcept {
    return !traits.isTooDeep &&
           !(traits.hasNotFinite && options.notFinite == JsonNotFinite::Refuse) &&
           !(traits.hasOtherThanUtf8 && options.encoding == JsonEncoding::Utf8);
}

}  // namespace

std::string JsonWriteResult::Message() const {
    return pointer.empty() ? reason : pointer + ": " + reason;
}

JsonWriteResult CheckJson(const JsonValue& value, const JsonWriteOptions& options) {
    for (detail::TreeWalk walk(value); !walk.IsAtEnd(); walk.Next()) {
        if (const char* const reason = ReasonAgainst(walk, options)) {
            return {walk.Pointer(), reason};
        }
    }
    return {};
}

JsonWriteResult WriteJson(const JsonValue& value, std::string& out,
                          const JsonWriteOptions& options) {
    std::string text;
    const detail::JsonTraits traits =
        detail::WriteExactly(value, options.layout == JsonLayout::Pretty, text);
    if (!AreAllowed(traits, options)) {
        return CheckJson(value, options);
    }
    out = std::move(text);
    return {};
}

JsonWriteResult SaveJson(const std::string& path, const JsonValue& value,
                         const JsonWriteOptions& options) {
    std::string text;
    JsonWriteResult result = WriteJson(value, text, options);
    if (result) {
        text += '\n';
        result.reason = SaveFile(path, text).reason;
    }
    return result;
}

}  // namespace core
