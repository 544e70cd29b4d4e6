#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/time_text.h"
#include "inspect/verbs.h"

#include "plot/clip.h"
#include "plot/number_text.h"
#include "plot/utf8.h"

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
                    line +=
                        Cell(i, columns[i] == "timecode" ? row[i].AsString() : TableText(row[i]));
                    break;
                case SampleFormat::Csv:
                    line += Cell(i, columns[i] == "timecode" ? row[i].AsString() : CsvText(row[i]));
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
        const std::size_t width = columns[column] == "frame" ? 7 : 16;
        const auto length = static_cast<std::size_t>(plot::CharacterCount(text));
        return std::string(length < width ? width - length : 1, ' ') + text;
    }

    static std::string TableText(const ValAny& value) {
        if (!value.IsNumber()) {
            return ValueText(value);
        }
        const double number = value.AsDouble();
        // Six decimals line up; numbers that do not fit in them stand as they are.
        return std::fabs(number) < 1e8 && (number == 0.0 || std::fabs(number) >= 1e-6)
                   ? plot::ShortText(number, 6)
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

// Which times are asked for, and how they are written.
class Stops {
public:
    Stops(const SampleRequest& what, double rate, std::string file)
        : request(what), fps(rate), name(std::move(file)) {
        if (!(fps >= kLeastFps && fps <= kMostFps)) {
            throw Failure(name, "a frame rate of " + NumberText(fps) + "; say another with --fps");
        }
    }

    /// `answerAt` gives what stands behind the time, in `columns`. Without --from and --to
    /// the rows go from `first` to `last`.
    void Write(double first, double last, std::vector<std::string> columns,
               const std::function<Row(double)>& answerAt, const Console& console) const {
        columns.insert(columns.begin(), "time");
        if (!request.at.empty()) {
            std::vector<double> times;
            for (const std::string& text : request.at) {
                times.push_back(TimeOf(text, "--at"));
            }
            RowWriter rows(request.format, std::move(columns), console.out);
            rows.Begin();
            for (const double time : times) {
                rows.Write(Joined({time}, answerAt(time)));
            }
            rows.End();
            return;
        }
        const double from = request.from.empty() ? first : TimeOf(request.from, "--from");
        const double to = request.to.empty() ? last : TimeOf(request.to, "--to");
        if (from > to && !(request.from.empty() && request.to.empty())) {
            throw Failure(name,
                          "--from " + NumberText(from) + " lies behind --to " + NumberText(to));
        }
        const Frames frames = FramesBetween(from, to, fps, name);
        if (request.hasTimecode) {
            columns.insert(columns.begin(), "timecode");
        }
        columns.insert(columns.begin(), "frame");
        RowWriter rows(request.format, std::move(columns), console.out);
        rows.Begin();
        for (std::int64_t frame = frames.first; frame <= frames.last && console.out; ++frame) {
            const double time = static_cast<double>(frame) / fps;
            Row start = {frame};
            if (request.hasTimecode) {
                start.emplace_back(Timecode(frame, fps));
            }
            start.emplace_back(time);
            rows.Write(Joined(std::move(start), answerAt(time)));
        }
        rows.End();
    }

private:
    static Row Joined(Row start, const Row& rest) {
        start.insert(start.end(), rest.begin(), rest.end());
        return start;
    }

    double TimeOf(const std::string& text, const char* option) const {
        const std::optional<double> time = ParseTime(text, fps);
        if (!time) {
            throw Failure(name, std::string(option) + " " + text +
                                    ": neither seconds nor a timecode at " + NumberText(fps) +
                                    " frames per second");
        }
        return *time;
    }

    const SampleRequest& request;
    double fps;
    std::string name;
};

void SampleSpeed(core::SpeedParameter& speed, const Stops& stops, const Console& console) {
    const plot::SeenSpeed seen(speed);
    stops.Write(
        0.0, speed.GetRenderTotalTime(), {"source", "speed", "freeze"},
        [&](double time) {
            return Row{speed.GetSourceTime(time), seen.At(time), seen.IsFrozen(time)};
        },
        console);
}

void SampleParameter(core::Parameter& parameter, const SampleRequest& request, const Stops& stops,
                     const std::string& name, const Console& console) {
    const int count = parameter.GetKeyFramesCount();
    const bool hasTimes = !request.at.empty() || (!request.from.empty() && !request.to.empty());
    if (count == 0 && !hasTimes) {
        throw Failure(name, "holds no keyframe; say --from and --to, or --at");
    }
    const double last = parameter.GetPointTime(count - 1);
    const double unit = last >= core::kFirstTickCount ? core::kTicksPerSecond : 1.0;
    const bool isPoint = parameter.GetParameterType() == core::ParameterPoint;
    stops.Write(
        parameter.GetPointTime(0) / unit, last / unit,
        isPoint ? std::vector<std::string>{"x", "y"} : std::vector<std::string>{"value"},
        [&](double time) {
            const ValAny value = parameter.GetValue(time * unit, true);
            if (!isPoint) {
                return Row{value};
            }
            const bool hasPoint = value.Kind() == ValAny::kPoint;
            return hasPoint ? Row{value.AsPoint().x, value.AsPoint().y} : Row{nullptr, nullptr};
        },
        console);
}

}  // namespace

int Sample(const SampleRequest& request, const Console& console) {
    const Document document(request.file, console);
    const std::unique_ptr<core::Parameter> curve = document.Curve();
    try {
        if (auto* const speed = dynamic_cast<core::SpeedParameter*>(curve.get())) {
            const Stops stops(request, request.fps.value_or(speed->GetSourceFPS()),
                              document.Name());
            SampleSpeed(*speed, stops, console);
        } else {
            const double tableRate = document.Rate().value_or(kDefaultFps);
            const Stops stops(request, request.fps.value_or(tableRate), document.Name());
            SampleParameter(*curve, request, stops, document.Name(), console);
        }
    } catch (const core::AnyBadAccess&) {
        throw Failure(document.Name(), "a keyframe whose value is no number");
    }
    return 0;
}

}  // namespace inspect
