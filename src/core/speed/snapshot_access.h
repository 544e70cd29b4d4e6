#pragma once

// For functions of the library that ask a speed curve's snapshot for more than its members
// answer, or make one.

#include "core/foundation/shared.h"
#include "core/speed/speed_state.h"

#include <core/speed/snapshot.h>

namespace core {

struct SpeedSnapshotAccess {
    /// The snapshot's state, which lives as long as the snapshot.
    static const SpeedState& StateOf(const SpeedSnapshot& snapshot) noexcept {
        return *snapshot.state;
    }
    /// Another state, played as the snapshot is.
    static SpeedSnapshot With(const SpeedSnapshot& snapshot, Shared<SpeedState> state) noexcept {
        return {state.Release(), snapshot.reverse, snapshot.isReverted};
    }
};

}  // namespace core
