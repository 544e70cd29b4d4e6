#pragma once

#include <core/curve/pointd.h>

#include <string>
#include <string_view>
#include <vector>

namespace plot {

/// A rectangle of the picture; y grows downwards.
struct Box {
    double left = 0.0;
    double top = 0.0;
    double width = 0.0;
    double height = 0.0;

    double Right() const { return left + width; }
    double Bottom() const { return top + height; }
};

enum class TextAnchor { Start, Middle, End };

/// Writes an SVG picture. Every shape carries a class of the style sheet in
/// svg_document.cpp, which has a light and a dark face and follows the reader's
/// choice. Numbers are written with two decimals, whatever the locale is; texts
/// are UTF-8.
///
///     SvgDocument picture(320, 200, "Fade", "Opacity over time");
///     picture.Polyline("curve", {{10, 190}, {310, 10}});
///     std::string text = picture.Finish();
class SvgDocument {
public:
    SvgDocument(double width, double height, std::string_view title, std::string_view description);

    void Line(std::string_view style, core::Pointd a, core::Pointd b);
    void Rectangle(std::string_view style, const Box& box, double rounding = 0.0);
    void Circle(std::string_view style, core::Pointd center, double radius);
    /// Small dots; none for an empty list.
    void Dots(const std::vector<core::Pointd>& centers);
    void Polygon(std::string_view style, const std::vector<core::Pointd>& corners);
    void Polyline(std::string_view style, const std::vector<core::Pointd>& points);
    /// A text on its baseline, turned by a quarter to the left if `upright`.
    void Text(std::string_view style, core::Pointd at, std::string_view text,
              TextAnchor anchor = TextAnchor::Start, bool upright = false);

    /// What is drawn up to `EndClip` shows inside `box` only.
    void BeginClip(const Box& box);
    void EndClip();

    /// The whole picture. Nothing may be drawn afterwards.
    std::string Finish();

private:
    std::string out;
    int clipCount = 0;
};

/// About how wide a text is, in the size of the styles "small" and "tick".
double SmallTextWidth(std::string_view text);

}  // namespace plot
