#include "core/logging/filter_tags.h"

#include <memory>

namespace core {

bool FilterTags::Passes(const char* tag) const noexcept {
    const std::uint64_t round = activeRound.load();
    if (round == 0) {
        return true;
    }
    const Tag* const known = tags.Find(tag);
    // A tag of a later round passes too: the filter changed while we looked.
    return known != nullptr && known->round.load() >= round;
}

void FilterTags::Add(const char* tag) {
    Tag* known = tags.Find(tag);
    if (known == nullptr) {
        auto added = std::make_unique<Tag>();
        added->name = tag;
        known = &tags.Insert(std::move(added));
    }
    known->round.store(nextRound);
    activeRound.store(nextRound);
}

void FilterTags::Clear() noexcept {
    activeRound.store(0);
    ++nextRound;
}

}  // namespace core
