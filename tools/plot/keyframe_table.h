#pragma once

#include <core/core.h>

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace plot {

/// One keyframe as a table states it. A handle that the table leaves out is set
/// by the library.
struct KeyframeRow {
    double time = 0.0;
    core::ValAny value;
    core::KeyframeInterpolationType interpolation = core::KeyframeInterpolationType::Linear;
    std::optional<core::Pointd> left;
    std::optional<core::Pointd> right;
};

/// An animation read from a text file: what is animated, and its keyframes in
/// time order. data/README.md describes the file.
struct KeyframeTable {
    std::string title;
    std::string valueLabel = "value";
    core::ParameterTypeEnum type = core::ParameterDouble;
    std::optional<double> baseRatio;
    std::optional<std::pair<double, double>> range;
    double fps = 25.0;
    std::vector<KeyframeRow> rows;
};

/// A table that cannot be used. `what()` reads "file:line: what is wrong", or
/// "file: what is wrong" for a file that cannot be read at all.
class TableError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The most keyframes and frames that a table may have: room for an hour at
/// 25 frames per second, and a mistyped time ends in an error, not in a flood.
inline constexpr int kMaxKeyframes = 10'000;
inline constexpr int kMaxFrames = 90'000;

/// The largest number that can be drawn: its products with any allowed time stay far
/// from overflow, and a double still tells apart neighbours on an axis.
inline constexpr double kLargestNumber = 1e12;

/// Times from here on are counts of ticks to the library; a table is in seconds.
inline constexpr double kTimeLimit = 166666.0;

/// Reads a table; `name` stands for it in errors and, without a title, in the
/// picture. Throws `TableError`. Independent of the locale.
KeyframeTable ReadKeyframeTable(std::istream& in, const std::string& name);

/// Reads the table in a file. Throws `TableError`.
KeyframeTable LoadKeyframeTable(const std::filesystem::path& file);

/// The curve that the table describes.
core::Parameter MakeParameter(const KeyframeTable& table);

/// The first and the last frame that the keyframes touch; frame n is shown at
/// n / fps seconds.
std::pair<int, int> FrameSpan(const KeyframeTable& table);

/// The name of an interpolation type, as tables and pictures use it; the number
/// itself for one without a name.
std::string InterpolationName(core::KeyframeInterpolationType type);

/// "double", "int", "bool", "point" or "string".
std::string_view ParameterTypeName(core::ParameterTypeEnum type);

}  // namespace plot
