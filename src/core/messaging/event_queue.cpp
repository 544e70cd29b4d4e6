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
        blocks.push_back(std::make_unique<Block>());
        AddToFree(*blocks.back());
    }
    EventNode* const node = std::exchange(freeNodes, freeNodes->next);
    *node = {&type, nullptr};
    ++used;
    return node;
}

void EventQueue::FreeNode(EventNode* node) noexcept {
    const detail::EventType& type = *node->type;
    if (IsLarge(type)) {
        void* const memory = static_cast<unsigned char*>(node->Event()) - OffsetOf(type);
        ::operator delete(memory, AlignmentOf(type));
        return;
    }
    --used;
    node->next = freeNodes;
    freeNodes = node;
}

EventQueue::Blocks EventQueue::TakeSurplus() noexcept {
    Blocks surplus;
    if (used != 0 || blocks.size() <= kKeptBlocks) {
        return surplus;
    }
    surplus.swap(blocks);
    freeNodes = nullptr;
    return surplus;
}

void EventQueue::AddToFree(Block& block) noexcept {
    for (Slot& slot : block) {
        freeNodes = new (slot.bytes.data()) EventNode{nullptr, freeNodes};
    }
}

void EventQueue::Push(EventNode* node) noexcept {
    (last == nullptr ? first : last->next) = node;
    last = node;
    ++size;
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
    --size;
    return node;
}

}  // namespace core
