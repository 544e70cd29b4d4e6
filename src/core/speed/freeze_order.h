#pragma once

// Freezes that are added in any order, as texts may list them.

#include "core/speed/freezes.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace core {

/// Takes freezes one by one as `SpeedParameterFreezeImpl` does, each moving those behind
/// it, but in O(log n) wherever it lies.
class FreezeOrder {
public:
    /// Where a point lies: in a freeze, or in none and behind those that take `shift`
    /// seconds.
    struct Place {
        bool isFrozen;
        double shift;
    };
    Place AtPoint(double pointTime) const noexcept;

    /// Adds a freeze at a point that lies in none and has this `shift`.
    void Insert(double pointTime, double shift, double duration, double sourceTime);

    /// All of them in order. O(n).
    std::vector<Freeze> Freezes() const;

private:
    using Index = std::uint32_t;
    static constexpr Index kNone = std::numeric_limits<Index>::max();

    struct Node {
        double key;
        double shift;  // what the freezes before it took when it was added
        double duration;
        double sourceTime;
        double sum;  // of the durations in its subtree
        Index left;
        Index right;
        Index priority;
    };

    double SumOf(Index node) const noexcept { return node != kNone ? nodes[node].sum : 0.0; }
    double ShiftOf(Index node, double before) const noexcept {
        return before + SumOf(nodes[node].left);
    }
    // Where it starts now, when those before it take `shift`.
    double StartOf(Index node, double shift) const noexcept {
        return nodes[node].key + (shift - nodes[node].shift);
    }
    Index NextPriority() noexcept;

    std::vector<Node> nodes;
    std::vector<Index> path;  // kept, so that an insertion seldom allocates
    Index root = kNone;
    Index random = 1;
    double total = 0.0;
    double end = -std::numeric_limits<double>::infinity();
};

}  // namespace core
