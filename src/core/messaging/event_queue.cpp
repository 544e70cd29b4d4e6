#include "core/messaging/event_queue.h"

#include <algorithm>
#include <new>
#include <utility>

namespace core {
namespace {

/// Where a large event stands in its memory: behind its node, at its own alignment.
std::size_t OffsetOf(const detail::EventType& type) noexcept {
    return std::max(type.alignment, sizeof(EventNode));
}

std::align_val_t AlignmentOf(const detail::EventType& type) noexcept {
    return std::align_val_t(std::max(type.alignment, alignof(EventNode)));
}

}  // namespace

bool EventQueue::IsLarge(const detail::EventType& type) noexcept {
    return type.size > kSlotBytes - sizeof(EventNode) || type.alignment > alignof(Slot);
}

EventNode* EventQueue::NewNode(const detail::EventType& type) {
    static_assert(sizeof(EventNode) % alignof(Slot) == 0, "an event stands behind its node");
    if (IsLarge(type)) {
        void* const memory = ::operator new(OffsetOf(type) + type.size, AlignmentOf(type));
        EventNode* const node = EventNode::Of(static_cast<unsigned char*>(memory) + OffsetOf(type));
        return new (node) EventNode{&type, nullptr};
    }
    if (freeNodes == nullptr) {
        AddBlock();
    }
    EventNode* const node = TakeFree();
    node->type = &type;
    return node;
}

EventNode* EventQueue::TakeSpareNode(const detail::EventType& type) noexcept {
    EventNode* const node =
        IsLarge(type) ? nullptr : spare.exchange(nullptr, std::memory_order_acquire);
    if (node != nullptr) {
        node->type = &type;
    }
    return node;
}

void EventQueue::FreeNode(EventNode* node) noexcept {
    const detail::EventType& type = *node->type;
    if (IsLarge(type)) {
        void* const memory = static_cast<unsigned char*>(node->Event()) - OffsetOf(type);
        ::operator delete(memory, AlignmentOf(type));
        return;
    }
    AddToFree(node);
}

EventQueue::Blocks EventQueue::TakeSurplus() noexcept {
    Blocks surplus;
    if (blocks.size() <= kKeptBlocks) {
        return surplus;
    }
    if (EventNode* const node = spare.exchange(nullptr, std::memory_order_acquire)) {
        AddToFree(node);
    }
    if (used == 0) {
        surplus.swap(blocks);
        freeNodes = nullptr;
    }
    return surplus;
}

void EventQueue::AddBlock() {
    blocks.push_back(std::make_unique<Block>());
    for (Slot& slot : *blocks.back()) {
        freeNodes = new (slot.bytes.data()) EventNode{nullptr, freeNodes};
    }
}

EventNode* EventQueue::TakeFree() noexcept {
    EventNode* const node = std::exchange(freeNodes, freeNodes->next);
    node->next = nullptr;
    ++used;
    return node;
}

void EventQueue::AddToFree(EventNode* node) noexcept {
    --used;
    node->next = freeNodes;
    freeNodes = node;
}

void EventQueue::Push(EventNode* node) noexcept {
    (last == nullptr ? first : last->next) = node;
    last = node;
    ++pushed;
    if (freeNodes != nullptr && spare.load(std::memory_order_relaxed) == nullptr) {
        spare.store(TakeFree(), std::memory_order_release);
    }
}

EventNode* EventQueue::Pop() noexcept {
    if (first == nullptr) {
        return nullptr;
    }
    EventNode* const node = std::exchange(first, first->next);
    node->next = nullptr;
    if (first == nullptr) {
        last = nullptr;
    }
    ++popped;
    return node;
}

}  // namespace core
