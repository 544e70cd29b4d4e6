#pragma once

// The writer of JSON text whose numbers come back as they are.

#include <string>

namespace core {

class JsonValue;

namespace detail {

/// What a tree holds that no parser takes.
struct JsonTraits {
    bool hasNotFinite = false;
    bool hasOtherThanUtf8 = false;
    bool isTooDeep = false;
};

/// Appends the text of a tree. What is not finite becomes null.
JsonTraits WriteExactly(const JsonValue& value, bool isPretty, std::string& out);

}  // namespace detail
}  // namespace core
