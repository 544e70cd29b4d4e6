// The page is page.html with the documents in it as JSON. Numbers that are drawn or read at
// the cursor are arrays of doubles in base64, which keeps every bit of them; the page looks
// answers up and never works one out.

#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/page_html.h"
#include "inspect/trace_view.h"
#include "inspect/verbs.h"

#include "plot/curve_view.h"
#include "plot/keyframe_table.h"
#include "plot/plot_parts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace inspect {

namespace {

using plot::Answer;
using plot::CurveTrace;
using plot::CurveView;
using plot::SeenKeyframe;

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

// The cursor stops at each frame, or at each second, third, ... of longer curves: so many
// numbers stay a page that a phone opens.
constexpr double kMostStops = 1'000'000.0;

// Where nothing is cut off a curve that starts or ends at the edge.
constexpr double kMargin = 0.03;

std::string Base64(const std::vector<double>& numbers) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes(numbers.size() * sizeof(double), '\0');
    if (!numbers.empty()) {
        std::memcpy(bytes.data(), numbers.data(), bytes.size());
    }
    std::string text;
    text.reserve(bytes.size() / 3 * 4 + 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t at = i + k;
            group =
                (group << 8U) | (at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k > bytes.size() ? '=' : kDigits[(group >> (18U - 6U * k)) & 63U];
        }
    }
    return text;
}

// A text inside a <script> element: nothing in it may end that.
std::string Quoted(const std::string& text) {
    std::string quoted;
    for (const char c : QuotedText(text)) {
        quoted += c == '<' ? "\\u003c" : std::string(1, c);
    }
    return quoted;
}

// Writes JSON. Members and elements are separated as they come.
class JsonText {
public:
    JsonText& Open(char bracket) {
        Separate();
        text += bracket;
        isFirst = true;
        return *this;
    }
    void Close(char bracket) {
        text += bracket;
        text += '\n';
        isFirst = false;
    }
    JsonText& Name(std::string_view name) {
        Separate();
        text += '"' + std::string(name) + "\":";
        isFirst = true;
        return *this;
    }
    void Raw(const std::string& value) {
        Separate();
        text += value;
    }
    void Text(const std::string& value) { Raw(Quoted(value)); }
    void Number(double value) { Raw(std::isfinite(value) ? NumberText(value) : "null"); }
    void Numbers(const std::vector<double>& values) { Raw('"' + Base64(values) + '"'); }
    void Texts(const std::vector<std::string>& values) {
        Open('[');
        for (const std::string& value : values) {
            Text(value);
        }
        Close(']');
    }
    const std::string& Finish() const { return text; }

private:
    void Separate() {
        if (!isFirst) {
            text += ',';
        }
        isFirst = false;
    }

    std::string text;
    bool isFirst = true;
};

// One panel of the page: a curve, or two versions of one.
struct Panel {
    std::string name;
    std::vector<std::string> description;
    std::vector<CurveView> versions;  // the older one last
    std::vector<std::string> differences;
};

std::vector<double> Column(const CurveTrace& trace, std::size_t channel) {
    std::vector<double> column;
    column.reserve(trace.answers.size());
    for (const Answer& answer : trace.answers) {
        column.push_back(answer[channel]);
    }
    return column;
}

class PageWriter {
public:
    PageWriter(std::string name, std::optional<double> rate) : title(std::move(name)), fps(rate) {}

    void Add(Panel panel) {
        for (const CurveView& view : panel.versions) {
            if (!fps) {
                fps = view.FramesPerSecond();
            }
        }
        panels.push_back(std::move(panel));
    }
    void Add(TraceView trace) { traces.push_back(std::move(trace)); }

    std::string Write() {
        SetTimes();
        JsonText json;
        json.Open('{');
        json.Name("title").Text(title);
        json.Name("fps").Number(*fps);
        json.Name("from").Number(from);
        json.Name("to").Number(to);
        json.Name("step").Number(static_cast<double>(step));
        json.Name("times").Numbers(times);
        json.Name("curves").Open('[');
        for (const Panel& panel : panels) {
            WritePanel(json, panel);
        }
        json.Close(']');
        json.Name("traces").Open('[');
        for (const TraceView& trace : traces) {
            WriteTrace(json, trace);
        }
        json.Close(']');
        json.Close('}');
        std::string page(kPageHtml);
        constexpr std::string_view kPlace = "{\"curves\": [], \"traces\": []}";
        page.replace(page.find(kPlace), kPlace.size(), json.Finish());
        constexpr std::string_view kTitle = "<title>Curves</title>";
        page.replace(page.find(kTitle), kTitle.size(), "<title>" + HtmlText(title) + "</title>");
        return page;
    }

private:
    static std::string HtmlText(const std::string& text) {
        std::string html;
        for (const char c : text) {
            html += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
        }
        return html;
    }

    // The span of all curves, and where the cursor stops: at frames and at keyframes.
    void SetTimes() {
        fps = std::clamp(fps.value_or(kDefaultFps), kLeastFps, kMostFps);
        double first = std::numeric_limits<double>::infinity();
        double last = -first;
        std::size_t channels = 0;
        std::size_t keyframes = 0;
        for (const Panel& panel : panels) {
            for (const CurveView& view : panel.versions) {
                first = std::min(first, view.From());
                last = std::max(last, view.To());
                channels += view.Channels().size();
                keyframes += view.Keyframes().size();
            }
        }
        if (channels == 0) {
            first = last = 0.0;
        }
        const double margin = last > first ? kMargin * (last - first) : 1.0;
        from = first - margin;
        to = last + margin;
        const double room =
            std::max(1000.0, kMostStops / static_cast<double>(std::max(channels, std::size_t{1})) -
                                 static_cast<double>(keyframes));
        step = std::max(1.0, std::ceil((to - from) * *fps / room));
        for (double frame = std::ceil(from * *fps / step) * step; frame <= to * *fps;
             frame += step) {
            times.push_back(frame / *fps);
        }
        for (const Panel& panel : panels) {
            for (const CurveView& view : panel.versions) {
                for (const SeenKeyframe& keyframe : view.Keyframes()) {
                    times.push_back(keyframe.time);
                }
            }
        }
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
    }

    void WritePanel(JsonText& json, const Panel& panel) const {
        const CurveView& view = panel.versions.front();
        json.Open('{');
        json.Name("name").Text(panel.name);
        json.Name("description").Texts(panel.description);
        json.Name("differences").Texts(panel.differences);
        json.Name("channels").Texts(view.Channels());
        json.Name("isPath").Raw(view.IsPath() ? "true" : "false");
        json.Name("isClip").Raw(view.Speed() != nullptr ? "true" : "false");
        json.Name("versions").Open('[');
        for (const CurveView& version : panel.versions) {
            WriteVersion(json, version);
        }
        json.Close(']');
        json.Close('}');
    }

    void WriteVersion(JsonText& json, const CurveView& view) const {
        // A clip is there from its start to just before its end; a parameter has answers
        // before and after its keyframes.
        const bool isClip = view.Speed() != nullptr;
        const double end = isClip ? std::nextafter(view.To(), view.From()) : to;
        const CurveTrace trace = view.Trace(isClip ? view.From() : from, end);
        json.Open('{');
        json.Name("name").Text(view.Name());
        json.Name("from").Number(view.From());
        json.Name("to").Number(view.To());
        json.Name("texts").Texts(view.Texts());
        json.Name("range").Numbers(view.Range()
                                       ? std::vector<double>{view.Range()->low, view.Range()->high}
                                       : std::vector<double>());
        json.Name("times").Numbers(trace.times);
        json.Name("values").Open('[');
        for (std::size_t channel = 0; channel < view.Channels().size(); ++channel) {
            json.Numbers(Column(trace, channel));
        }
        json.Close(']');
        CurveTrace stops;
        for (const double time : times) {
            stops.answers.push_back(view.At(time));
        }
        json.Name("stops").Open('[');
        for (std::size_t channel = 0; channel < view.Channels().size(); ++channel) {
            json.Numbers(Column(stops, channel));
        }
        json.Close(']');
        std::vector<double> freezes;
        for (const plot::FreezeSpan& freeze : view.Freezes()) {
            freezes.insert(freezes.end(), {freeze.start, freeze.duration});
        }
        json.Name("freezes").Numbers(freezes);
        WriteKeyframes(json, view.Keyframes());
        json.Close('}');
    }

    static void WriteKeyframes(JsonText& json, const std::vector<SeenKeyframe>& keyframes) {
        std::vector<double> columns;
        std::vector<std::string> types;
        std::vector<std::string> texts;
        for (const SeenKeyframe& shown : keyframes) {
            const core::TimeValuePair& keyframe = shown.keyframe;
            double leftX = 0.0;
            double leftY = 0.0;
            double rightX = 0.0;
            double rightY = 0.0;
            keyframe.GetLeftDerivativeEx(leftX, leftY);
            keyframe.GetRightDerivativeEx(rightX, rightY);
            const core::Pointd before = shown.before.value_or(core::Pointd{kNothing, kNothing});
            const core::Pointd after = shown.after.value_or(core::Pointd{kNothing, kNothing});
            const auto type = plot::InterpolationName(keyframe.GetInterpolation());
            const auto known = std::find(types.begin(), types.end(), type);
            const auto number = static_cast<double>(known - types.begin());
            if (known == types.end()) {
                types.push_back(type);
            }
            columns.insert(columns.end(),
                           {shown.time, shown.place[0], shown.place[1], number,
                            static_cast<double>(plot::ShapeOf(keyframe.GetInterpolation())),
                            before.x, before.y, after.x, after.y, leftX, leftY, rightX, rightY,
                            shown.isFixed ? 1.0 : 0.0});
            texts.push_back(TimeText(keyframe.GetTime()) + ", " + type + ", " +
                            ValueText(keyframe.GetValue()));
        }
        json.Name("types").Texts(types);
        json.Name("keyframes").Numbers(columns);
        json.Name("keyframeTexts").Texts(texts);
    }

    static void WriteTrace(JsonText& json, const TraceView& trace) {
        json.Open('{');
        json.Name("name").Text(trace.name);
        json.Name("events").Number(static_cast<double>(trace.eventCount));
        json.Name("rows").Open('[');
        for (const TraceStatisticRow& row : trace.statistics) {
            json.Open('[');
            json.Text(row.event);
            json.Text(row.key);
            for (const double number : {row.least, row.greatest, row.mean, row.count}) {
                json.Number(number);
            }
            json.Close(']');
        }
        json.Close(']');
        json.Close('}');
    }

    std::string title;
    std::optional<double> fps;
    std::vector<Panel> panels;
    std::vector<TraceView> traces;
    std::vector<double> times;
    double from = 0.0;
    double to = 0.0;
    double step = 1.0;
};

std::string TitleOf(const PageRequest& request) {
    if (!request.title.empty()) {
        return request.title;
    }
    std::string title = PlaceOf(request.files.front()).ShortName();
    if (request.isDiff) {
        return title + " and " + PlaceOf(request.files.back()).ShortName();
    }
    if (request.files.size() > 1) {
        title += " and " + CountText(request.files.size() - 1, "other");
    }
    return title;
}

Panel Compared(const PageRequest& request, const Console& console) {
    const Document before(request.files.front(), console);
    const Document after(request.files.back(), console);
    Panel panel;
    panel.versions.emplace_back(after.Name(), after.Curve());
    panel.versions.emplace_back(before.Name(), before.Curve());
    if (panel.versions.front().Channels() != panel.versions.back().Channels() ||
        panel.versions.front().Texts() != panel.versions.back().Texts()) {
        throw Failure(after.Name(),
                      "a curve of another kind than " + before.Name() + ", not laid over it");
    }
    panel.name = before.Name() + " and " + after.Name();
    panel.description = Describe(after);
    panel.differences = Differences(before, after);
    return panel;
}

}  // namespace

int Page(const PageRequest& request, const Console& console) {
    PageWriter page(TitleOf(request), request.fps);
    try {
        if (request.isDiff) {
            if (request.files.size() != 2) {
                throw Failure("page --diff",
                              "two files are wanted, not " + std::to_string(request.files.size()));
            }
            page.Add(Compared(request, console));
        } else {
            for (const std::string& file : request.files) {
                const Document document(file, console);
                if (std::optional<TraceView> trace = ReadTrace(document)) {
                    page.Add(std::move(*trace));
                    continue;
                }
                Panel panel;
                panel.name = document.Name();
                panel.versions.emplace_back(document.Name(), document.Curve());
                panel.description = Describe(document);
                page.Add(std::move(panel));
            }
        }
        WriteOutput(request.page, page.Write(), console);
    } catch (const core::AnyBadAccess&) {
        throw Failure(PlaceOf(request.files.front()).Name(), "a keyframe whose value is no number");
    }
    return 0;
}

}  // namespace inspect
