#pragma once

#include <core/data/bson_box.h>
#include <core/export.h>

namespace core {

class JsonArray;
class JsonObject;
class JsonValue;

/// Packs a JSON tree, and replaces what `out` held.
///
/// Signed numbers are written as signed 64-bit integers are by `BsonPacker`, unsigned
/// ones likewise; texts and member names up to their terminating zero. An empty value
/// inside the tree writes nothing while the header around it counts it, so that such a
/// tree does not come back: a caller sees to it that there is none. Any depth is fine.
/// Throws `std::bad_alloc` or `std::length_error`, with `out` as it was.
CORE_API void JsonToBson(const JsonValue& value, BsonBox& out);
CORE_API void JsonToBson(const JsonObject& object, BsonBox& out);
CORE_API void JsonToBson(const JsonArray& array, BsonBox& out);

/// Unpacks the first item of `box`, a whole tree if it is a container, into `out`,
/// which is cleared first; what follows it is ignored.
///
/// False, with `out` empty, when not even the first item can be decoded. A fault
/// inside a container ends that container and, one after the other, those around it,
/// and the answer is still true: they keep what came before the fault, an element or a
/// member whose value was faulty is null, and so is one more element of each array
/// around it that had elements to come. Integers come back signed, but for those
/// beyond 2^63 - 1, and floats as doubles. Of what other writers of MessagePack make,
/// numbers from -128 to -1 in their shortest forms come back with 256 added, -7 as 249;
/// `bin` and `ext` items are faults; `MessagePackToJson` reads all of that. Any depth is fine, and
/// memory grows with what the bytes hold, not with what their headers promise. Throws
/// `std::bad_alloc`.
CORE_API bool BsonToJson(const BsonBox& box, JsonValue& out);

}  // namespace core
