#include "inspect/terminal_chart.h"

#include "plot/number_text.h"
#include "plot/plot_axes.h"
#include "plot/utf8.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace inspect {

namespace {

using plot::CurveTrace;
using plot::CurveView;
using plot::Span;

constexpr int kAcross = 2;  // dots of a Braille letter
constexpr int kDown = 4;
constexpr int kLabelWidth = 10;

// The dots of a Braille letter as bits of U+2800, row by row.
constexpr std::array<std::array<unsigned, kAcross>, kDown> kDots = {
    {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}}};

class DotGrid {
public:
    DotGrid(int columnCount, int rowCount)
        : columns(columnCount),
          rows(rowCount),
          letters(static_cast<std::size_t>(columnCount * rowCount), 0U) {}

    int Width() const { return columns * kAcross; }
    int Height() const { return rows * kDown; }

    /// Dots in column `x` from row `top` to row `bottom`, both within.
    void FillColumn(int x, int top, int bottom) {
        for (int y = std::max(top, 0); y <= std::min(bottom, Height() - 1); ++y) {
            letters[static_cast<std::size_t>(y / kDown * columns + x / kAcross)] |=
                kDots[static_cast<std::size_t>(y % kDown)][static_cast<std::size_t>(x % kAcross)];
        }
    }

    std::string Row(int row) const {
        std::string text;
        for (int column = 0; column < columns; ++column) {
            const unsigned dots = letters[static_cast<std::size_t>(row * columns + column)];
            if (dots == 0U) {
                text += ' ';
            } else {
                text += '\xE2';
                text += static_cast<char>(0xA0U + (dots >> 6U));
                text += static_cast<char>(0x80U + (dots & 0x3FU));
            }
        }
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }

private:
    int columns;
    int rows;
    std::vector<unsigned> letters;
};

struct Frame {
    Span times;
    Span values;
    int columns;
};

// Every column of dots gets what the line covers in it.
void DrawTrace(DotGrid& grid, const Frame& frame, const CurveTrace& trace, std::size_t channel) {
    const int width = grid.Width();
    std::vector<Span> seen(
        static_cast<std::size_t>(width),
        {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()});
    const auto columnOf = [&](double time) {
        return (time - frame.times.low) / frame.times.Length() * (width - 1);
    };
    for (std::size_t i = 0; i < trace.times.size(); ++i) {
        const double v1 = trace.answers[i][channel];
        const double v0 = i == 0 ? v1 : trace.answers[i - 1][channel];
        const double x1 = columnOf(trace.times[i]);
        const double x0 = i == 0 ? x1 : columnOf(trace.times[i - 1]);
        if (!std::isfinite(v0) || !std::isfinite(v1)) {
            continue;
        }
        const int last = std::min(width - 1, static_cast<int>(std::lround(x1)));
        for (int x = std::max(0, static_cast<int>(std::lround(x0))); x <= last; ++x) {
            const auto at = [&](double place) {
                const double part = x1 > x0 ? std::clamp((place - x0) / (x1 - x0), 0.0, 1.0) : 1.0;
                return v0 + part * (v1 - v0);
            };
            Span& column = seen[static_cast<std::size_t>(x)];
            column.Include(at(x - 0.5));
            column.Include(at(x + 0.5));
            if (x1 <= x0) {
                column.Include(v0);
            }
        }
    }
    const auto rowOf = [&](double value) {
        return static_cast<int>(
            std::lround((frame.values.high - value) / frame.values.Length() * (grid.Height() - 1)));
    };
    for (int x = 0; x < width; ++x) {
        const Span& column = seen[static_cast<std::size_t>(x)];
        if (column.low <= column.high) {
            grid.FillColumn(x, rowOf(column.high), rowOf(column.low));
        }
    }
}

std::string Label(const std::string& text) {
    const int length = plot::CharacterCount(text);
    return std::string(static_cast<std::size_t>(std::max(0, kLabelWidth - 1 - length)), ' ') +
           text + " ";
}

std::string ValueLabel(const CurveView& view, double value) {
    if (view.Texts().empty()) {
        return std::fabs(value) < 1e6 ? plot::ShortText(value, 3) : plot::ScientificText(value, 2);
    }
    const auto index = static_cast<std::size_t>(std::max(0.0, std::round(value)));
    const std::string text = index < view.Texts().size() ? view.Texts()[index] : "";
    return plot::IsUtf8Text(text) && plot::CharacterCount(text) < kLabelWidth
               ? text
               : "text " + std::to_string(index);
}

// A line below the chart with a mark wherever there is something.
class MarkLine {
public:
    explicit MarkLine(const Frame& what)
        : frame(what), text(static_cast<std::size_t>(what.columns), ' ') {}

    void Mark(double from, double to, char mark) {
        if (to < frame.times.low || from > frame.times.high) {
            return;
        }
        const auto columnOf = [&](double time) {
            const double part =
                (std::clamp(time, frame.times.low, frame.times.high) - frame.times.low) /
                frame.times.Length();
            return static_cast<std::size_t>(std::lround(part * (frame.columns - 1)));
        };
        for (std::size_t column = columnOf(from); column <= columnOf(to); ++column) {
            text[column] = mark;
        }
    }

    std::string Text() const { return text.substr(0, text.find_last_not_of(' ') + 1); }

private:
    const Frame& frame;
    std::string text;
};

std::string Chart(const CurveView& view, std::size_t channel, const TerminalStyle& style) {
    Frame frame{{style.from.value_or(view.From()), style.to.value_or(view.To())},
                {0.0, 0.0},
                style.columns - kLabelWidth - 1};
    frame.times = plot::Widened(frame.times, 0.0);
    double end = frame.times.high;
    if (view.Speed() != nullptr) {  // the speed of the last keyframe is never seen
        end = std::min(end, std::nextafter(view.To(), view.From()));
    }
    const CurveTrace trace = view.Trace(frame.times.low, std::max(frame.times.low, end));
    Span values = {std::numeric_limits<double>::infinity(),
                   -std::numeric_limits<double>::infinity()};
    for (const plot::Answer& answer : trace.answers) {
        if (std::isfinite(answer[channel])) {
            values.Include(answer[channel]);
        }
    }
    frame.values = plot::Widened(values.low <= values.high ? values : Span{0.0, 1.0}, 0.0);
    DotGrid grid(frame.columns, style.rows);
    DrawTrace(grid, frame, trace, channel);

    std::string text = view.Name() + ": " + view.Channels()[channel] + '\n';
    for (int row = 0; row < style.rows; ++row) {
        const bool isLabelled = row == 0 || row == style.rows - 1;
        const double value = row == 0 ? frame.values.high : frame.values.low;
        text += Label(isLabelled ? ValueLabel(view, value) : "") + "|" + grid.Row(row) + '\n';
    }
    MarkLine marks(frame);
    for (const plot::FreezeSpan& freeze : view.Freezes()) {
        marks.Mark(freeze.start, freeze.start + freeze.duration, '=');
    }
    for (const plot::SeenKeyframe& keyframe : view.Keyframes()) {
        marks.Mark(keyframe.time, keyframe.time, '^');
    }
    text += Label("") + " " + marks.Text() + '\n';
    const std::string start = plot::ShortText(frame.times.low, 3) + " s";
    const std::string stop = plot::ShortText(frame.times.high, 3) + " s";
    const int gap = frame.columns - static_cast<int>(start.size() + stop.size());
    return text + Label("") + " " + start +
           std::string(static_cast<std::size_t>(std::max(1, gap)), ' ') + stop + '\n';
}

}  // namespace

std::string DrawOnTerminal(const std::vector<CurveView>& curves, const TerminalStyle& style) {
    std::string text;
    for (const CurveView& view : curves) {
        for (std::size_t channel = 0; channel < view.Channels().size(); ++channel) {
            text += (text.empty() ? "" : "\n") + Chart(view, channel, style);
        }
    }
    return text;
}

}  // namespace inspect
