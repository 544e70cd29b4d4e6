#include "core/logging/recent_lines.h"

#include <algorithm>
#include <utility>

namespace core {

void RecentLines::Add(const char* module, const LineFields& fields) {
    constexpr std::size_t kLongestMessage = std::size_t{4} << 10;
    const Lock lock(mutex);
    if (lines.size() < room) {
        lines.emplace_back();
        next = lines.size() - 1;
    }
    // In the memory of the one that it takes the place of.
    RecentLine& line = lines[next];
    next = (next + 1) % room;
    line.level = fields.level;
    line.module = module;
    line.tag = fields.tag != nullptr ? fields.tag : "";
    line.time = fields.time;
    line.message = fields.body.substr(0, kLongestMessage);
}

std::vector<RecentLine> RecentLines::Take() {
    const Lock lock(mutex);
    if (lines.size() == room) {
        std::rotate(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(next), lines.end());
    }
    return std::exchange(lines, {});
}

}  // namespace core
