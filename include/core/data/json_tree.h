#pragma once

#include <core/data/json_doc.h>
#include <core/data/json_value.h>

#include <memory>
#include <utility>

namespace core {

/// A value that owns its document: it outlives the tree that it was copied from, and goes
/// from hand to hand.
///
/// Moving and swapping cost nothing, whatever it holds, and leave references to its values
/// valid; copying copies the tree. A tree that was moved from is empty, and may be used
/// again. One thread at a time; several may read.
///
///     JsonTree clip(project.Root().AsObject()["clip"]);   // a copy with a pool of its own
///     queue.push_back(std::move(clip));
class JsonTree {
public:
    /// An empty root.
    JsonTree() = default;
    /// A deep copy of any value. Throws `std::bad_alloc`.
    explicit JsonTree(const JsonValue& value) { Root() = value; }
    JsonTree(const JsonTree& other) : JsonTree(other.Root()) {}
    JsonTree(JsonTree&& other) noexcept = default;
    JsonTree& operator=(const JsonTree& other) {
        if (this != &other) {
            JsonTree copy(other);
            swap(*this, copy);
        }
        return *this;
    }
    JsonTree& operator=(JsonTree&& other) noexcept = default;
    ~JsonTree() = default;

    /// The top of the tree; valid until the tree is assigned to or destroyed.
    JsonValue& Root() { return Document().Root(); }
    const JsonValue& Root() const noexcept {
        static const JsonValue kNothing;
        return document != nullptr ? std::as_const(*document).Root() : kNothing;
    }
    /// The document that all nodes come from.
    JsonDoc& Document() {
        if (document == nullptr) {
            document = std::make_unique<JsonDoc>();
        }
        return *document;
    }
    JsonValue* operator->() { return &Root(); }
    const JsonValue* operator->() const noexcept { return &Root(); }
    JsonValue& operator*() { return Root(); }
    const JsonValue& operator*() const noexcept { return Root(); }

    /// Exchanges the documents, nodes where they are. O(1).
    friend void swap(JsonTree& a, JsonTree& b) noexcept { a.document.swap(b.document); }

private:
    /// Made when it is asked for.
    std::unique_ptr<JsonDoc> document;
};

}  // namespace core
