#pragma once

#include <cstddef>

namespace core {

/// The large pieces that pools take memory in: of one size, so that one fits where another
/// was.
inline constexpr std::size_t kRegionSize = std::size_t{2} << 20;

/// One that a pool has left, or a new one; null where there is no memory. Any thread.
void* TakeRegion() noexcept;
/// Leaves one to the next that asks. Any thread.
void LeaveRegion(void* region) noexcept;

}  // namespace core
