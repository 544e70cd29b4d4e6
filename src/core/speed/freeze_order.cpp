#include "core/speed/freeze_order.h"

// A treap (Seidel and Aragon, 1996): a search tree over the freezes in their order, and a
// heap over random priorities, which keep it balanced. A freeze is found by what those
// before it take, so that nothing behind a new one is touched.

namespace core {

FreezeOrder::Place FreezeOrder::AtPoint(double p) const noexcept {
    constexpr double kTolerance = SpeedParameterFreezeImpl::kTolerance;
    // Behind all of them, where most are added, with their sum in order.
    if (!(p - end < kTolerance)) {
        return {false, total};
    }
    double shift = 0.0;
    double endBefore = -std::numeric_limits<double>::infinity();
    double startBehind = std::numeric_limits<double>::infinity();
    for (Index node = root; node != kNone;) {
        const double before = ShiftOf(node, shift);
        const double start = StartOf(node, before);
        if (start <= p) {
            endBefore = start + nodes[node].duration;
            shift = before + nodes[node].duration;
            node = nodes[node].right;
        } else {
            startBehind = start;
            node = nodes[node].left;
        }
    }
    return {p - endBefore < kTolerance || startBehind - p < kTolerance, shift};
}

// Marsaglia's xorshift, 2003.
FreezeOrder::Index FreezeOrder::NextPriority() noexcept {
    random ^= random << 13;
    random ^= random >> 17;
    random ^= random << 5;
    return random;
}

void FreezeOrder::Insert(double p, double shift, double duration, double sourceTime) {
    const Index added = static_cast<Index>(nodes.size());
    const Index priority = NextPriority();
    nodes.push_back({p, shift, duration, sourceTime, duration, kNone, kNone, priority});
    total += duration;
    end = p - end < 0.0 ? end + duration : p + duration;

    // Down to where its priority belongs, ...
    double before = 0.0;
    Index* link = &root;
    const auto goesRight = [&](Index node) {
        const double nodeShift = ShiftOf(node, before);
        if (StartOf(node, nodeShift) > p) {
            return false;
        }
        before = nodeShift + nodes[node].duration;
        return true;
    };
    while (*link != kNone && nodes[*link].priority >= priority) {
        const Index node = *link;
        link = goesRight(node) ? &nodes[node].right : &nodes[node].left;
        nodes[node].sum += duration;
    }
    // ... and what is below there to both of its sides.
    Index node = *link;
    *link = added;
    Index* left = &nodes[added].left;
    Index* right = &nodes[added].right;
    path.assign(1, added);
    while (node != kNone) {
        path.push_back(node);
        if (goesRight(node)) {
            *left = node;
            left = &nodes[node].right;
            node = *left;
        } else {
            *right = node;
            right = &nodes[node].left;
            node = *right;
        }
    }
    *left = kNone;
    *right = kNone;
    for (std::size_t i = path.size(); i-- > 0;) {
        Node& changed = nodes[path[i]];
        changed.sum = SumOf(changed.left) + changed.duration + SumOf(changed.right);
    }
}

std::vector<Freeze> FreezeOrder::Freezes() const {
    std::vector<Freeze> freezes;
    freezes.reserve(nodes.size());
    std::vector<Index> open;
    double shift = 0.0;
    for (Index node = root; node != kNone || !open.empty();) {
        for (; node != kNone; node = nodes[node].left) {
            open.push_back(node);
        }
        const Node& next = nodes[open.back()];
        freezes.push_back({StartOf(open.back(), shift), next.duration, next.sourceTime});
        shift += next.duration;
        open.pop_back();
        node = next.right;
    }
    return freezes;
}

}  // namespace core
