#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace inspect {

/// A frame rate as people write it: "25", "23.976", "30000/1001".
std::optional<double> ParseRate(std::string_view text);

/// A time in seconds: a number ("1.5", "-2"), a clock ("1:30", "1:02:03.25"), or a timecode
/// of frames at `fps` ("01:02:03:04"; with ";" before the frames the drop-frame count of
/// 29.97 and 59.94 frames per second). None for anything else.
std::optional<double> ParseTime(std::string_view text, double fps);

/// A frame's timecode, hours:minutes:seconds:frames, after SMPTE 12M: a rate that is no whole
/// number counts as the next one, and those of 29.97 and 59.94 skip numbers to keep up with
/// the clock, which ";" tells. Negative frames get a "-".
std::string Timecode(std::int64_t frame, double fps);

}  // namespace inspect
