#include "inspect/document.h"
#include "inspect/terminal_chart.h"
#include "inspect/time_text.h"
#include "inspect/verbs.h"

#include "plot/curve_view.h"
#include "plot/number_text.h"
#include "plot/parameter_document.h"
#include "plot/pictures.h"
#include "plot/utf8.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <utility>
#include <vector>

namespace inspect {

namespace {

// The first file's name without folders and extension, and the place in it.
std::string TitleOf(const PlotRequest& request) {
    if (!request.title.empty()) {
        return request.title;
    }
    Place place = PlaceOf(request.files.front());
    if (place.file != "-") {
        const std::u8string stem =
            std::filesystem::path(std::u8string(place.file.begin(), place.file.end()))
                .stem()
                .u8string();
        place.file.assign(stem.begin(), stem.end());
    }
    return place.Name();
}

// Pictures are SVG; a name that promises something else would hide that.
void RequireSvgName(const std::string& picture) {
    const std::size_t dot = picture.find_last_of("./\\");
    if (dot == std::string::npos || picture[dot] != '.') {
        return;
    }
    std::string ending = picture.substr(dot + 1);
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const char* const other :
         {"png", "jpg", "jpeg", "gif", "webp", "bmp", "tif", "tiff", "pdf", "eps", "ps"}) {
        if (ending == other) {
            throw Failure(picture,
                          "pictures are written as SVG; a browser or rsvg-convert makes "
                          "other kinds of it");
        }
    }
}

std::optional<double> TimeOf(const std::string& text, double fps, const char* option) {
    if (text.empty()) {
        return std::nullopt;
    }
    const std::optional<double> time = ParseTime(text, fps);
    if (!time) {
        throw Failure(option, text + " is neither seconds nor a timecode");
    }
    return time;
}

// "WIDTHxHEIGHT"
void SetSize(const std::string& text, plot::PictureStyle& style) {
    const std::size_t cross = text.find('x');
    if (cross == std::string::npos ||
        plot::ParseNumber(text.substr(0, cross), style.width) != plot::NumberState::Good ||
        plot::ParseNumber(text.substr(cross + 1), style.height) != plot::NumberState::Good ||
        !(style.width > 0.0 && style.height > 0.0)) {
        throw Failure("--size", text + " is no size like 1200x600");
    }
}

// A motion path is drawn in the plane, unless there is too much of it.
std::optional<std::string> PathPicture(const PlotRequest& request, const plot::CurveView& view,
                                       const plot::PictureStyle& style) {
    if (!view.IsPath() || style.from || style.to || !request.size.empty()) {
        return std::nullopt;
    }
    plot::KeyframeTable table = plot::TableOf(view.Curve(), style.title);
    table.fps = style.fps;
    return plot::DrawingFault(table).empty()
               ? std::optional<std::string>(plot::DrawMotionPath(table))
               : std::nullopt;
}

}  // namespace

namespace {

TerminalStyle TerminalStyleOf(const PlotRequest& request, const plot::PictureStyle& style) {
    TerminalStyle terminal;
    terminal.from = style.from;
    terminal.to = style.to;
    if (!request.size.empty()) {
        if (style.width < 24.0 || style.height < 2.0 || style.width > 1000.0 ||
            style.height > 1000.0) {
            throw Failure("--size", request.size + " is no size of a terminal");
        }
        terminal.columns = static_cast<int>(style.width);
        terminal.rows = static_cast<int>(style.height);
    }
    return terminal;
}

}  // namespace

int Plot(const PlotRequest& request, const Console& console) {
    RequireSvgName(request.picture);
    std::vector<plot::CurveView> curves;
    std::optional<double> tableRate;
    for (const std::string& file : request.files) {
        const Document document(file, console);
        curves.emplace_back(document.Name(), document.Curve());
        tableRate = tableRate ? tableRate : document.Rate();
        if (!plot::IsUtf8Text(document.Name())) {
            throw Failure(document.Name(), "a name that is no line of UTF-8 text");
        }
    }
    plot::PictureStyle style;
    style.title = TitleOf(request);
    if (!plot::IsUtf8Text(style.title)) {
        throw Failure(curves.front().Name(), "a title that is no line of UTF-8 text");
    }
    style.fps = request.fps.value_or(tableRate.value_or(kDefaultFps));
    const double rate = curves.front().FramesPerSecond().value_or(style.fps);
    style.from = TimeOf(request.from, request.fps.value_or(rate), "--from");
    style.to = TimeOf(request.to, request.fps.value_or(rate), "--to");
    if (style.from && style.to && *style.from >= *style.to) {
        throw Failure("--from", request.from + " does not lie before --to " + request.to);
    }
    if (!request.size.empty()) {
        SetSize(request.size, style);
    }
    if (request.isForTerminal) {
        WriteOutput(request.picture, DrawOnTerminal(curves, TerminalStyleOf(request, style)),
                    console);
        return 0;
    }
    std::optional<std::string> picture;
    if (curves.size() == 1) {
        picture = PathPicture(request, curves.front(), style);
    }
    WriteOutput(request.picture, picture ? *picture : plot::DrawCurves(curves, style), console);
    return 0;
}

}  // namespace inspect
