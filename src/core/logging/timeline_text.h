#pragma once

#include "core/logging/timeline_ring.h"

#include <cstdint>
#include <string>

namespace core {

/// Whose records they are.
struct TimelineThread {
    std::uint64_t processId;
    std::uint64_t threadId;
};

/// Appends ",\n" and a record as an object of the trace event format. All names and texts
/// come out as JSON, whatever they hold; a number that is not finite is null.
void AppendTimelineRecord(const TimelineRecord& record, const TimelineThread& thread,
                          std::string& text);

/// What stands at the beginning of a file, of a process that is called `name`.
std::string TimelineBegin(std::uint64_t processId, const std::string& name);
inline constexpr char kTimelineEnd[] = "\n]\n";

}  // namespace core
