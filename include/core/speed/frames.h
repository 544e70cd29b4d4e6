#pragma once

#include <core/curve/time_base.h>
#include <core/export.h>
#include <core/speed/snapshot.h>

#include <cstddef>
#include <cstdint>

namespace core {

/// Where a frame starts, in seconds: the exact time, rounded once, for every frame of a day.
///
/// Rates are `TimeBase::Frames(30000, 1001)`, say. With one of 0 or less the functions here answer
/// -1, and 0 seconds.
CORE_API double FrameStart(std::int64_t frame, TimeBase rate) noexcept;

/// The frame that holds a time: each from its start up to but without the next one's.
///
/// A time less than 1e-7 s before a frame lies in it, so that a start which rounding has
/// moved is still one. Times so far that frames can't be counted answer the last one that can
/// be, NaN answers -1.
CORE_API std::int64_t FrameAt(double time, TimeBase rate) noexcept;

/// The frame of the material that a clip shows at the start of a frame of the timeline.
///
/// Both count from 0. The answer lies in the material, from its first frame to the last one
/// that begins before the source length ends, if a length is set. In reverse a time that is
/// the start of a frame shows the one before it, so that a clip which is played backwards
/// shows each of its frames as often as forward.
///
/// No error adds up: played at speed 1, frame n of a day at 30000/1001 is frame n. Throws
/// `AnyBadAccess` where a speed is not a number. O(log n).
CORE_API std::int64_t GetSourceFrame(const SpeedSnapshot& speed, std::int64_t renderFrame,
                                     TimeBase renderRate, TimeBase sourceRate);
/// The same for `count` frames from `first` on, to the caller's array. O(1) each, mostly.
CORE_API void GetSourceFrames(const SpeedSnapshot& speed, std::int64_t first, std::size_t count,
                              TimeBase renderRate, TimeBase sourceRate, std::int64_t* sourceFrames);

}  // namespace core
