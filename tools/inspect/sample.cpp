#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/verbs.h"

#include "support/clip.h"
#include "support/number_text.h"
#include "support/utf8.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <utility>
#include <vector>

namespace inspect {

namespace {

using core::ValAny;

using Row = std::vector<ValAny>;

// Rows in one of the formats, written as they come.
class RowWriter {
public:
    RowWriter(SampleFormat how, std::vector<std::string> names, std::ostream& where)
        : format(how), columns(std::move(names)), out(where) {}

    void Begin() {
        if (format == SampleFormat::Json) {
            out << '[';
            return;
        }
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            line += Cell(i, columns[i]);
        }
        out << line << '\n';
    }

    void Write(const Row& row) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            switch (format) {
                case SampleFormat::Table:
                    line += Cell(i, TableText(row[i]));
                    break;
                case SampleFormat::Csv:
                    line += Cell(i, CsvText(row[i]));
                    break;
                case SampleFormat::Json:
                    line += std::string(i == 0 ? "" : ", ") + '"' + columns[i] +
                            "\": " + JsonText(row[i]);
                    break;
            }
        }
        if (format == SampleFormat::Json) {
            out << (isFirst ? "\n{" : ",\n{") << line << '}';
        } else {
            out << line << '\n';
        }
        isFirst = false;
    }

    void End() {
        if (format == SampleFormat::Json) {
            out << "\n]\n";
        }
    }

private:
    std::string Cell(std::size_t column, const std::string& text) const {
        if (format == SampleFormat::Csv) {
            return (column == 0 ? "" : ",") + text;
        }
        // Frame numbers are short; what is too wide moves the rest of its line.
        const std::size_t width = column == 0 ? 7 : 16;
        const auto length = static_cast<std::size_t>(example::CharacterCount(text));
        return std::string(length < width ? width - length : 1, ' ') + text;
    }

    static std::string TableText(const ValAny& value) {
        if (!value.IsNumber()) {
            return ValueText(value);
        }
        const double number = value.AsDouble();
        // Six decimals line up; numbers that do not fit in them stand as they are.
        return std::fabs(number) < 1e8 && (number == 0.0 || std::fabs(number) >= 1e-6)
                   ? example::ShortText(number, 6)
                   : NumberText(number);
    }

    // RFC 4180: in quotes, and quotes doubled.
    static std::string CsvText(const ValAny& value) {
        if (value.Kind() != ValAny::kString) {
            return ValueText(value);
        }
        std::string text = "\"";
        for (const char c : value.AsString()) {
            text += c == '"' ? "\"\"" : std::string(1, c);
        }
        return text + '"';
    }

    static std::string JsonText(const ValAny& value) {
        const bool isNumber = value.IsNumber();
        return isNumber && !std::isfinite(value.AsDouble()) ? "null" : ValueText(value);
    }

    SampleFormat format;
    std::vector<std::string> columns;
    std::ostream& out;
    bool isFirst = true;
};

struct Frames {
    std::int64_t first;
    std::int64_t last;
};

// Whole numbers up to here are exact as doubles.
constexpr double kMostFrames = 9e15;

// A time that was meant to lie on a frame may miss it by rounding.
constexpr double kFrameSlack = 1e-6;

Frames FramesBetween(double from, double to, double fps, const std::string& name) {
    const double first = std::ceil(from * fps - kFrameSlack);
    const double last = std::floor(to * fps + kFrameSlack);
    if (!(std::fabs(first) <= kMostFrames && std::fabs(last) <= kMostFrames)) {
        throw Failure(name, "too long to be counted in frames");
    }
    return {static_cast<std::int64_t>(first), static_cast<std::int64_t>(last)};
}

void WriteFrames(const Frames& frames, RowWriter& rows, const Console& console,
                 const std::function<Row(std::int64_t)>& rowAt) {
    rows.Begin();
    for (std::int64_t frame = frames.first; frame <= frames.last && console.out; ++frame) {
        rows.Write(rowAt(frame));
    }
    rows.End();
}

void SampleSpeed(core::SpeedParameter& speed, const SampleRequest& request, const std::string& name,
                 const Console& console) {
    const double fps = request.fps.value_or(speed.GetSourceFPS());
    if (!(fps >= kLeastFps && fps <= kMostFps)) {
        throw Failure(name, "a frame rate of " + NumberText(fps) + "; say another with --fps");
    }
    const example::SeenSpeed seen(speed);
    const Frames frames = FramesBetween(request.from.value_or(0.0),
                                        request.to.value_or(speed.GetRenderTotalTime()), fps, name);
    RowWriter rows(request.format, {"frame", "time", "source", "speed", "freeze"}, console.out);
    WriteFrames(frames, rows, console, [&](std::int64_t frame) {
        const double time = static_cast<double>(frame) / fps;
        return Row{frame, time, speed.GetSourceTime(time), seen.At(time), seen.IsFrozen(time)};
    });
}

void SampleParameter(core::Parameter& parameter, const SampleRequest& request,
                     const std::string& name, const Console& console) {
    const int count = parameter.GetKeyFramesCount();
    if (count == 0 && !(request.from && request.to)) {
        throw Failure(name, "holds no keyframe; say --from and --to");
    }
    const double last = parameter.GetPointTime(count - 1);
    const double unit = last >= core::kFirstTickCount ? core::kTicksPerSecond : 1.0;
    const double fps = request.fps.value_or(kDefaultFps);
    const Frames frames = FramesBetween(request.from.value_or(parameter.GetPointTime(0) / unit),
                                        request.to.value_or(last / unit), fps, name);
    const bool isPoint = parameter.GetParameterType() == core::ParameterPoint;
    RowWriter rows(request.format,
                   isPoint ? std::vector<std::string>{"frame", "time", "x", "y"}
                           : std::vector<std::string>{"frame", "time", "value"},
                   console.out);
    WriteFrames(frames, rows, console, [&](std::int64_t frame) {
        const double time = static_cast<double>(frame) / fps;
        const ValAny value = parameter.GetValue(time * unit, true);
        if (!isPoint) {
            return Row{frame, time, value};
        }
        const bool hasPoint = value.Kind() == ValAny::kPoint;
        return hasPoint ? Row{frame, time, value.AsPoint().x, value.AsPoint().y}
                        : Row{frame, time, nullptr, nullptr};
    });
}

}  // namespace

int Sample(const SampleRequest& request, const Console& console) {
    const Document document(request.file, console);
    const std::unique_ptr<core::Parameter> curve = document.Curve();
    try {
        if (auto* const speed = dynamic_cast<core::SpeedParameter*>(curve.get())) {
            SampleSpeed(*speed, request, document.Name(), console);
        } else {
            SampleParameter(*curve, request, document.Name(), console);
        }
    } catch (const core::AnyBadAccess&) {
        throw Failure(document.Name(), "a keyframe whose value is no number");
    }
    return 0;
}

}  // namespace inspect
