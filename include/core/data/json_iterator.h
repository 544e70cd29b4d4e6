#pragma once

#include <cstddef>
#include <iterator>

namespace core::detail {

/// Walks the elements of an array or the members of an object. Valid until the node
/// that it stands at is removed.
template <class Node>
class JXIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Node;
    using difference_type = std::ptrdiff_t;
    using pointer = Node*;
    using reference = Node&;

    /// The end.
    JXIterator() noexcept : node(nullptr) {}
    explicit JXIterator(Node* start) noexcept : node(start) {}
    /// The const form from the other.
    operator JXIterator<const Node>() const noexcept { return JXIterator<const Node>(node); }

    Node& operator*() const noexcept { return *node; }
    Node* operator->() const noexcept { return node; }
    JXIterator& operator++() noexcept {
        node = node->NextSibling();
        return *this;
    }
    JXIterator operator++(int) noexcept {
        const JXIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(JXIterator a, JXIterator b) noexcept { return a.node == b.node; }
    friend bool operator!=(JXIterator a, JXIterator b) noexcept { return a.node != b.node; }

private:
    Node* node;
};

}  // namespace core::detail
