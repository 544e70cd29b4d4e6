#pragma once

#include <core/export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace core {

class JsonValue;

/// Whether the order of an object's members counts.
enum class JsonMemberOrder : std::uint8_t {
    Ignored,  ///< Members that share a name are compared in their order.
    Counts,
};

/// How trees are compared.
struct JsonCompareOptions {
    /// Of each object on its own.
    JsonMemberOrder order = JsonMemberOrder::Ignored;
};

/// Whether two trees hold the same. Numbers are compared by value, exactly, however they
/// are held; NaN is equal to NaN. Empty is not null. Any depth is fine. Takes time in
/// proportion to both trees. Throws `std::bad_alloc`.
CORE_API bool AreEqual(const JsonValue& a, const JsonValue& b,
                       const JsonCompareOptions& options = {});

/// A place where two trees differ.
struct JsonDifference {
    /// JSON Pointer (RFC 6901) of the value; of a member that only `after` has, there.
    std::string pointer;
    /// The value in either tree; null where that tree has none. As long as the trees live
    /// and are not changed.
    const JsonValue* before;
    const JsonValue* after;
};

/// All places where two trees differ, from the outside inwards: containers of one kind are
/// compared by their children. Where the order of members counts and differs, the object
/// itself is a place. As `AreEqual` in all else.
CORE_API std::vector<JsonDifference> FindDifferences(const JsonValue& before,
                                                     const JsonValue& after,
                                                     const JsonCompareOptions& options = {});

}  // namespace core
