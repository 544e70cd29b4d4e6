#include <core/data/json_doc.h>

#include "core/data/json_nodes.h"

namespace core {

namespace {

constexpr std::size_t kDefaultBlock = 16384;

}  // namespace

JsonDoc::JsonDoc() : JsonDoc(kDefaultBlock) {}

JsonDoc::JsonDoc(std::size_t blockSize) : JsonOptimizedAllocator(blockSize), root(this) {}

JsonDoc::~JsonDoc() {
    // All nodes below the root are in the pool, which returns them in one piece.
    detail::JsonNodes::Abandon(root);
}

}  // namespace core
