#include "plot/frame_table.h"

#include "plot/number_text.h"
#include "plot/plot_axes.h"
#include "plot/plot_parts.h"
#include "plot/utf8.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace plot {

namespace {

using core::Pointd;

constexpr int kChartWidth = 48;

std::string RightAligned(const std::string& text, int width) {
    const int missing = width - CharacterCount(text);
    return missing > 0 ? std::string(static_cast<std::size_t>(missing), ' ') + text : text;
}

// A column of numbers under its title, as wide as its widest entry.
struct Column {
    std::string title;
    std::vector<std::string> cells;

    int Width() const {
        int width = CharacterCount(title);
        for (const std::string& cell : cells) {
            width = std::max(width, CharacterCount(cell));
        }
        return width;
    }
};

// The place of `value` on a line of kChartWidth characters.
int ChartPlace(double value, Span span) {
    return static_cast<int>(std::lround((value - span.low) / span.Length() * (kChartWidth - 1)));
}

std::string Repeated(char c, int count) {
    return std::string(static_cast<std::size_t>(std::max(count, 0)), c);
}

// A mark at the value, with a stem to zero where the chart has it.
std::string Mark(double value, Span span) {
    const int place = ChartPlace(value, span);
    const int foot =
        std::clamp(ChartPlace(std::clamp(0.0, span.low, span.high), span), 0, kChartWidth - 1);
    std::string line = Repeated(' ', kChartWidth);
    for (int i = std::min(place, foot); i <= std::max(place, foot); ++i) {
        line[static_cast<std::size_t>(i)] = '-';
    }
    line[static_cast<std::size_t>(place)] = 'o';
    return line;
}

std::string Heading(const KeyframeTable& table) {
    std::string text = table.title + ": " + std::string(ParameterTypeName(table.type)) + ", " +
                       std::to_string(table.rows.size()) +
                       (table.rows.size() == 1 ? " keyframe" : " keyframes");
    if (table.baseRatio) {
        text += ", base ratio " + ShortText(*table.baseRatio, 6);
    }
    return text + ", " + ShortText(table.fps, 3) + " frames per second\n";
}

// The sampled frames: their numbers, and what is charted of each.
struct Frames {
    std::vector<int> numbers;
    std::vector<double> charted;
    std::vector<Column> columns;
};

void SampleValues(Frames& frames, const KeyframeTable& table) {
    core::Parameter parameter = MakeParameter(table);
    Column column = {table.valueLabel, {}};
    for (const int number : frames.numbers) {
        const core::ValAny value = parameter.GetValue(number / table.fps, true);
        frames.charted.push_back(PlottedNumber(value));
        column.cells.push_back(
            value.Kind() == core::ValAny::kBool
                ? (value.AsBool() ? "true" : "false")
                : FixedText(value.AsDouble(), table.type == core::ParameterInt ? 0 : 3));
    }
    frames.columns.push_back(std::move(column));
}

void SamplePath(Frames& frames, const KeyframeTable& table) {
    core::Parameter parameter = MakeParameter(table);
    Column x = {"x", {}};
    Column y = {"y", {}};
    Column moved = {"moved", {}};
    const int first = frames.numbers.front();
    for (const int number : frames.numbers) {
        const Pointd here = parameter.GetValue(number / table.fps, false).AsPoint();
        const Pointd before =
            parameter.GetValue(std::max(number - 1, first) / table.fps, false).AsPoint();
        frames.charted.push_back(std::hypot(here.x - before.x, here.y - before.y));
        x.cells.push_back(FixedText(here.x, 1));
        y.cells.push_back(FixedText(here.y, 1));
        moved.cells.push_back(FixedText(frames.charted.back(), 1));
    }
    frames.columns.insert(frames.columns.end(), {std::move(x), std::move(y), std::move(moved)});
}

// The columns, and the chart beside them.
std::string Print(const Frames& frames) {
    Span span = {frames.charted.front(), frames.charted.front()};
    for (const double value : frames.charted) {
        span.Include(value);
    }
    span = Widened(span, 0.0);
    std::string text;
    std::vector<int> widths;
    for (const Column& column : frames.columns) {
        widths.push_back(column.Width());
        text += "  " + RightAligned(column.title, widths.back());
    }
    text += "\n";
    for (std::size_t i = 0; i < frames.numbers.size(); ++i) {
        for (std::size_t k = 0; k < frames.columns.size(); ++k) {
            text += "  " + RightAligned(frames.columns[k].cells[i], widths[k]);
        }
        text += "  |" + Mark(frames.charted[i], span) + "|\n";
    }
    return text;
}

// Each frame of number `every` from the first, and the last one.
std::vector<int> Every(int first, int last, int every) {
    std::vector<int> numbers;
    for (int number = first; number <= last; ++number) {
        if ((number - first) % every == 0 || number == last) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

}  // namespace

std::string FrameTable(const KeyframeTable& table, int every) {
    const auto [first, last] = FrameSpan(table);
    Frames frames;
    frames.numbers = Every(first, last, every);
    std::set<long> keyFrames;  // the frames nearest to a keyframe
    for (const KeyframeRow& row : table.rows) {
        keyFrames.insert(std::lround(row.time * table.fps));
    }
    Column number = {"frame", {}};
    Column time = {"time", {}};
    for (const int frame : frames.numbers) {
        number.cells.push_back((keyFrames.count(frame) > 0 ? "* " : "") + std::to_string(frame));
        time.cells.push_back(FixedText(frame / table.fps, 3));
    }
    frames.columns = {std::move(number), std::move(time)};
    if (table.type == core::ParameterPoint) {
        SamplePath(frames, table);
    } else {
        SampleValues(frames, table);
    }

    return Heading(table) + Print(frames);
}

std::string FrameTable(Clip& clip, int every) {
    Frames frames;
    frames.numbers = Every(0, clip.LastFrame(), every);
    Column number = {"frame", {}};
    Column time = {"time", {}};
    Column source = {"source", {}};
    Column speed = {"speed", {}};
    for (const int frame : frames.numbers) {
        const double render = frame / clip.FramesPerSecond();
        const double shown = clip.SpeedAt(render);
        frames.charted.push_back(clip.speed.GetSourceTime(render));
        number.cells.push_back((shown == 0.0 ? "= " : "") + std::to_string(frame));
        time.cells.push_back(FixedText(render, 3));
        source.cells.push_back(FixedText(frames.charted.back(), 3));
        speed.cells.push_back(FixedText(shown, 3));
    }
    frames.columns = {std::move(number), std::move(time), std::move(source), std::move(speed)};
    return clip.title + ": " + std::to_string(clip.speed.GetKeyFramesCount()) + " keyframes, " +
           ShortText(clip.FramesPerSecond(), 3) + " frames per second\n" + Print(frames);
}

}  // namespace plot
