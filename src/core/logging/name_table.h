#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace core {

/// Finds nodes by their name without a lock. Nodes are never removed.
///
/// A node has a `std::string name` that stays, and a `Node* next` for the table.
/// Constant-initialised and without a destructor, so that it serves from the load of
/// the library to the end of the process. Looking up is safe beside an insertion.
template <class Node>
class NameTable {
public:
    /// The node called `name`, or null.
    Node* Find(const char* name) const noexcept {
        if (Node* const node = Guess(name)) {
            return node;
        }
        Node* node = buckets[BucketOf(name)].load(std::memory_order_acquire);
        while (node != nullptr && !IsEqual(node->name, name)) {
            node = node->next;
        }
        if (node != nullptr) {
            recent[FirstByte(name)].store(node, std::memory_order_release);
        }
        return node;
    }
    /// The same if it is the one that was last found among those with its first letter,
    /// as it is most of the time; otherwise null. A few instructions.
    Node* Guess(const char* name) const noexcept {
        Node* const node = recent[FirstByte(name)].load(std::memory_order_acquire);
        return node != nullptr && IsEqual(node->name, name) ? node : nullptr;
    }

    /// Adds a node whose name is not there yet; the table keeps it. One thread at a
    /// time.
    Node& Insert(std::unique_ptr<Node> node) noexcept {
        std::atomic<Node*>& bucket = buckets[BucketOf(node->name.c_str())];
        node->next = bucket.load(std::memory_order_relaxed);
        bucket.store(node.get(), std::memory_order_release);
        return *node.release();
    }

    std::vector<Node*> All() const {
        std::vector<Node*> all;
        for (const std::atomic<Node*>& bucket : buckets) {
            Node* node = bucket.load(std::memory_order_acquire);
            for (; node != nullptr; node = node->next) {
                all.push_back(node);
            }
        }
        return all;
    }

private:
    static constexpr std::size_t kBuckets = 256;
    static constexpr std::size_t kFirstBytes = 256;

    static bool IsEqual(const std::string& known, const char* name) noexcept {
        return std::strcmp(known.c_str(), name) == 0;
    }
    static std::size_t FirstByte(const char* name) noexcept {
        return static_cast<unsigned char>(*name);
    }
    // FNV-1a, 32 bits.
    static std::size_t BucketOf(const char* name) noexcept {
        std::uint32_t hash = 2'166'136'261u;
        for (; *name != '\0'; ++name) {
            hash = (hash ^ static_cast<unsigned char>(*name)) * 16'777'619u;
        }
        return (hash ^ (hash >> 16)) % kBuckets;
    }

    // First, so that it needs no offset.
    mutable std::array<std::atomic<Node*>, kFirstBytes> recent{};
    std::array<std::atomic<Node*>, kBuckets> buckets{};
};

}  // namespace core
