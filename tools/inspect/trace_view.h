#pragma once

#include "inspect/document.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// What the samples of a statistic come to.
struct TraceStatisticRow {
    std::string event;
    std::string key;
    double least;
    double greatest;
    double mean;
    double count;
};

/// A performance trace: its statistics, in the order of the file.
struct TraceView {
    std::string name;
    std::size_t eventCount = 0;
    std::vector<TraceStatisticRow> statistics;
};

/// The trace that a document is; none when it is none.
std::optional<TraceView> ReadTrace(const Document& document);

}  // namespace inspect
