#pragma once

// The verbs of core-inspect. Each answers the exit status and throws `Failure` for what
// ends it.

#include "inspect/console.h"
#include "inspect/document.h"

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
    std::vector<std::string> files;  // folders too
    bool isJson = false;
};
/// Says what each file is, and what is suspicious about it. Goes on behind a file that
/// fails.
int Check(const CheckRequest& request, const Console& console);
/// The same for one document: the first line is what it is, the others what is suspicious.
std::vector<std::string> Describe(const Document& document);

enum class SampleFormat { Table, Csv, Json };
struct SampleRequest {
    std::string file;
    SampleFormat format = SampleFormat::Table;
    std::optional<double> fps;  // none: the source's, or the default
    std::string from;           // times; empty: where the curve starts and ends
    std::string to;
    std::vector<std::string> at;  // these times in place of frames
    bool hasTimecode = false;     // a column of it
};
/// Writes what a curve answers at each frame.
int Sample(const SampleRequest& request, const Console& console);

struct PlotRequest {
    std::vector<std::string> files;
    std::string picture = "-";
    std::string title;          // empty for the first file's name
    std::optional<double> fps;  // none: the default
    std::string from;           // times; empty: all
    std::string to;
    std::string size;            // "WIDTHxHEIGHT"; empty: what suits
    bool isForTerminal = false;  // as text; the size is in characters
};
int Plot(const PlotRequest& request, const Console& console);

struct DiffRequest {
    std::string before;
    std::string after;
};
/// Writes what differs between two curves, keyframe by keyframe.
int Diff(const DiffRequest& request, const Console& console);
/// The same, a line each.
std::vector<std::string> Differences(const Document& before, const Document& after);

struct PageRequest {
    std::vector<std::string> files;
    std::string page = "-";
    std::string title;          // empty for the files' names
    std::optional<double> fps;  // none: that of the first clip, or the default
    bool isDiff = false;        // two files: before and after
};
/// Writes a page for a browser: curves, clips and traces, and what is suspicious about them.
int Page(const PageRequest& request, const Console& console);

enum class TextForm { Compact, Pretty, Packed };
struct ConvertRequest {
    std::string from;
    std::string to;
    TextForm form = TextForm::Pretty;
};
int Convert(const ConvertRequest& request, const Console& console);

}  // namespace inspect
