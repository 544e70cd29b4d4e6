#pragma once

#include "core/logging/name_table.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace core {

/// The tags whose lines pass. Asked without a lock.
///
/// Tags are never forgotten; each remembers the round in which it was last added. A
/// round begins when the filter is cleared, and only the tags of its round are in
/// the filter. So the memory is bounded by the number of different tags, and nobody
/// who looks meets a filter that is half cleared.
class FilterTags {
public:
    /// Whether lines with this tag pass: all do while the filter is empty.
    bool Passes(const char* tag) const noexcept;
    /// Change the filter; one thread at a time.
    void Add(const char* tag);
    void Clear() noexcept;

private:
    struct Tag {
        std::string name;
        Tag* next = nullptr;
        std::atomic<std::uint64_t> round = 0;
    };

    NameTable<Tag> tags;
    std::uint64_t nextRound = 1;
    /// 0 while the filter is empty.
    std::atomic<std::uint64_t> activeRound = 0;
};

}  // namespace core
