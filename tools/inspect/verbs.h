#pragma once

// The verbs of core-inspect. Each answers the exit status and throws `Failure` for what
// ends it.

#include "inspect/console.h"

#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// Exit statuses besides 0, as those of grep and diff.
inline constexpr int kFound = 1;
inline constexpr int kTrouble = 2;

inline constexpr double kDefaultFps = 25.0;
inline constexpr double kLeastFps = 0.1;
inline constexpr double kMostFps = 1000.0;

struct CheckRequest {
    std::vector<std::string> files;
};
/// Says what each file is, and what is suspicious about it. Goes on behind a file that
/// fails.
int Check(const CheckRequest& request, const Console& console);

enum class SampleFormat { Table, Csv, Json };
struct SampleRequest {
    std::string file;
    SampleFormat format = SampleFormat::Table;
    std::optional<double> fps;   // none: the source's, or the default
    std::optional<double> from;  // seconds; none: where the curve starts and ends
    std::optional<double> to;
};
/// Writes what a curve answers at each frame.
int Sample(const SampleRequest& request, const Console& console);

struct PlotRequest {
    std::string file;
    std::string picture = "-";
    std::string title;  // empty for the file's name
    double fps = kDefaultFps;
};
int Plot(const PlotRequest& request, const Console& console);

struct DiffRequest {
    std::string before;
    std::string after;
};
/// Writes what differs between two curves, keyframe by keyframe.
int Diff(const DiffRequest& request, const Console& console);

enum class TextForm { Compact, Pretty, Packed };
struct ConvertRequest {
    std::string from;
    std::string to;
    TextForm form = TextForm::Pretty;
};
int Convert(const ConvertRequest& request, const Console& console);

}  // namespace inspect
