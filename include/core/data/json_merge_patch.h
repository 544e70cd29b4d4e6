#pragma once

#include <core/export.h>

namespace core {

class JsonValue;

/// Changes a tree as a JSON Merge Patch says (RFC 7396): members of the patch are set, those
/// that are null are removed, objects are merged with objects; what is no object replaces.
///
///     // {"name": "outro", "gain": null, "speed": {"ramp": true}}
///     MergePatch(clip, patch);
///
/// Where a name repeats in the patch its last member counts; in the target the first one is
/// set, and all of them are removed. New members stand at the end. Values that are not
/// touched stay where they are in memory. Any depth is fine. Takes time in proportion to
/// the patch and to the objects that it names. Throws what the allocator throws; nothing
/// is changed then. `patch` may lie in `target`.
CORE_API void MergePatch(JsonValue& target, const JsonValue& patch);

}  // namespace core
