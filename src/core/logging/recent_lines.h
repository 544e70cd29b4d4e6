#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/line_format.h"

#include <cstddef>
#include <string>
#include <vector>

namespace core {

/// A line that is kept.
struct RecentLine {
    int level = 0;
    std::string module;
    std::string tag;
    std::string time;
    std::string message;
};

/// The last lines. Any thread; its mutex is taken by nobody who holds another one.
class RecentLines {
public:
    explicit RecentLines(std::size_t most) : room(most) {}

    void Add(const char* module, const LineFields& fields);
    /// Those that are there, the oldest first; none are left.
    std::vector<RecentLine> Take();
    std::size_t Room() const noexcept { return room; }

private:
    const std::size_t room;
    Mutex mutex;
    std::vector<RecentLine> lines CORE_GUARDED_BY(mutex);
    /// Where the next one goes, once there is no room for more.
    std::size_t next CORE_GUARDED_BY(mutex) = 0;
};

}  // namespace core
