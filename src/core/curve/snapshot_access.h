#pragma once

// For functions of the library that ask a snapshot for more than its members answer.

#include "core/curve/curve.h"

#include <core/curve/snapshot.h>

namespace core {

struct SnapshotAccess {
    /// The snapshot's curve, which lives as long as the snapshot.
    static const Curve& CurveOf(const CurveSnapshot& snapshot) noexcept { return *snapshot.curve; }
    static Shared<Curve> SharedCurveOf(const CurveSnapshot& snapshot) noexcept {
        return Shared<Curve>::Of(snapshot.curve);
    }
};

}  // namespace core
