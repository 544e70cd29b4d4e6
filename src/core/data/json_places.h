#pragma once

// Walks through trees that know where they are.

#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace core::detail {

/// Appends "/" and the token of a JSON Pointer (RFC 6901).
void AppendToken(std::string& pointer, std::string_view name);
void AppendToken(std::string& pointer, int index);

/// Goes through a tree from the root on, each value before those in it. Any depth is fine:
/// the containers around the value stand on a stack of its own.
///
///     for (TreeWalk walk(root); !walk.IsAtEnd(); walk.Next()) { Look(walk.Value()); }
class TreeWalk {
public:
    explicit TreeWalk(const JsonValue& root) : value(&root) {}

    bool IsAtEnd() const noexcept { return value == nullptr; }
    const JsonValue& Value() const noexcept { return *value; }
    /// The member that the value is; null for elements and the root.
    const JsonMember* Member() const noexcept {
        return around.empty() ? nullptr : around.back().member;
    }
    /// How many containers are around the value.
    std::size_t Depth() const noexcept { return around.size(); }
    /// The JSON Pointer of the value.
    std::string Pointer() const;

    /// Goes on: into the value where it is a container, else behind it.
    void Next();

private:
    /// The child of a container that the walk is at or in: one of the two.
    struct Step {
        const JsonElem* element;
        const JsonMember* member;
        int index;
    };

    void GoBehind();

    const JsonValue* value;
    std::vector<Step> around;
};

}  // namespace core::detail
