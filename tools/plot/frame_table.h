#pragma once

#include "plot/clip.h"
#include "plot/keyframe_table.h"

#include <string>

namespace plot {

/// The animation frame by frame as a text table: frame, time, value, and a chart
/// of the value down the page; for a motion path x, y, the distance from the frame
/// before, and a bar for that. A frame at which a keyframe lies is marked with '*'.
///
/// With `every` above 1 only each frame of that number, counted from the first, and
/// the last one.
std::string FrameTable(const KeyframeTable& table, int every);

/// A clip frame by frame: frame and time on the timeline, the source time that is
/// shown, the speed, and a chart of the source time. A frame in a freeze is marked
/// with '='.
std::string FrameTable(Clip& clip, int every);

}  // namespace plot
