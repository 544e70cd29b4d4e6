#include "plot/plot_axes.h"

#include "plot/number_text.h"
#include "plot/utf8.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace plot {

void Span::Include(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
}

Span Widened(Span span, double margin) {
    const double middle = span.low + span.Length() / 2.0;
    // A millionth of its own size is the least that an axis can show: below, the
    // ticks' labels would all read alike.
    const double least = std::max(1e-6 * std::fabs(middle), 1e-9);
    if (span.Length() < least) {
        const double half = std::max(0.5, least);
        span = {middle - half, middle + half};
    }
    const double more = span.Length() * margin;
    return {span.low - more, span.high + more};
}

std::vector<double> Ticks(Span span, int count) {
    const double rough = span.Length() / count;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    double step = 10.0 * power;
    for (const double factor : {5.0, 2.0, 1.0}) {
        // A little less than asked is better than half of it.
        step = rough <= factor * power * 1.2 ? factor * power : step;
    }
    std::vector<double> ticks;
    const double first = std::ceil(span.low / step - 1e-9);
    for (int i = 0; i < 4 * count && (first + i) * step <= span.high + 1e-9 * step; ++i) {
        ticks.push_back((first + i) * step);
    }
    // One label tells no scale.
    constexpr int kMostTries = 8;
    return ticks.size() < 2 && count < kMostTries ? Ticks(span, count + 1) : ticks;
}

std::string TickText(double tick, const std::vector<double>& ticks) {
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1.0;
    const double largest = std::max(std::fabs(ticks.front()), std::fabs(ticks.back()));
    if (largest >= 1e6) {  // too wide to be written out
        const double digits = std::ceil(std::log10(largest / step) - 1e-6);
        return tick == 0.0 ? "0"
                           : ScientificText(tick, std::clamp(static_cast<int>(digits), 0, 12));
    }
    const int decimals = static_cast<int>(std::ceil(-std::log10(step) - 1e-6));
    return FixedText(tick, std::clamp(decimals, 0, 12));
}

namespace {

// What of a name stands beside an axis: a short line of UTF-8 text.
std::string NameText(const std::string& name) {
    constexpr std::size_t kRoom = 9;
    if (!IsUtf8Text(name)) {
        return "?";
    }
    std::size_t end = 0;
    for (std::size_t count = 0; end < name.size() && count < kRoom; ++count) {
        do {
            ++end;
        } while (end < name.size() && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U);
    }
    return name.substr(0, end);
}

}  // namespace

PlotAxes::PlotAxes(const Box& plotArea, Span horizontal, Span vertical, bool yDown)
    : area(plotArea), xs(horizontal), ys(vertical), down(yDown) {}

double PlotAxes::X(double value) const {
    return area.left + area.width * ((value - xs.low) / xs.Length());
}

double PlotAxes::Y(double value) const {
    const double share = (value - ys.low) / ys.Length();
    return area.top + area.height * (down ? share : 1.0 - share);
}

void PlotAxes::Draw(SvgDocument& picture, std::string_view xTitle, std::string_view yTitle,
                    const std::vector<std::string>* names) const {
    const std::vector<double> xTicks = Ticks(xs, std::max(2, static_cast<int>(area.width / 80.0)));
    std::vector<double> yTicks = Ticks(ys, std::max(2, static_cast<int>(area.height / 45.0)));
    if (names != nullptr) {
        yTicks.clear();
        const double every = std::ceil(16.0 * ys.Length() / area.height);
        for (double tick = 0.0; tick < static_cast<double>(names->size()); tick += every) {
            yTicks.push_back(tick);
        }
    }
    double labelWidth = 0.0;
    for (const double tick : yTicks) {
        const std::string text = names == nullptr
                                     ? TickText(tick, yTicks)
                                     : NameText((*names)[static_cast<std::size_t>(tick)]);
        labelWidth = std::max(labelWidth, SmallTextWidth(text));
        picture.Line("grid", {area.left, Y(tick)}, {area.Right(), Y(tick)});
        picture.Text("tick", {area.left - 8.0, Y(tick) + 4.0}, text, TextAnchor::End);
    }
    for (const double tick : xTicks) {
        picture.Line("grid", {X(tick), area.top}, {X(tick), area.Bottom()});
        picture.Text("tick", {X(tick), area.Bottom() + 18.0}, TickText(tick, xTicks),
                     TextAnchor::Middle);
    }
    picture.Line("axis", {area.left, area.Bottom()}, {area.Right(), area.Bottom()});
    picture.Line("axis", {area.left, area.top}, {area.left, area.Bottom()});
    picture.Text("label", {area.left + area.width / 2.0, area.Bottom() + 38.0}, xTitle,
                 TextAnchor::Middle);
    // Beside the widest label, but never off the picture.
    picture.Text("label",
                 {std::max(14.0, area.left - 18.0 - labelWidth), area.top + area.height / 2.0},
                 yTitle, TextAnchor::Middle, true);
}

}  // namespace plot
