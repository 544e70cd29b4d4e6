#include "plot/svg_document.h"

#include "plot/number_text.h"
#include "plot/utf8.h"

#include <array>
#include <cstddef>

namespace plot {

namespace {

using core::Pointd;

// Colours of one face. The style sheet is written twice, once for each: viewers
// that know no media query show the light one.
struct Face {
    std::string_view paper, ink, muted, grid, axis, curve, frame, key, lever, band;
    std::array<std::string_view, 5> more;  // of a second curve and so on
};
constexpr Face kLight = {"#ffffff",
                         "#1f2328",
                         "#59636e",
                         "#e7eaee",
                         "#8c959f",
                         "#0969da",
                         "#0a2f66",
                         "#d4700a",
                         "#7a54c7",
                         "#f6f8fa",
                         {"#1a7f37", "#bf3989", "#9a6700", "#0a7d91", "#cf222e"}};
constexpr Face kDark = {"#0d1117",
                        "#e6edf3",
                        "#9198a1",
                        "#2b323b",
                        "#656c76",
                        "#3d8bea",
                        "#cfe6ff",
                        "#f0a14a",
                        "#b59af2",
                        "#151b23",
                        {"#3fb950", "#f778ba", "#d29922", "#39c5cf", "#ff7b72"}};

std::string Rules(const Face& face) {
    struct Rule {
        std::string_view selector, property, value;
    };
    const std::array<Rule, 20> rules = {{
        {".paper", "fill", face.paper},
        {".band", "fill", face.band},
        {".title,.label", "fill", face.ink},
        {".small,.tick", "fill", face.muted},
        {".grid", "stroke", face.grid},
        {".axis", "stroke", face.axis},
        {".border", "stroke", face.grid},
        {".guide", "stroke", face.axis},
        {".beyond", "fill", face.axis},
        {".curve,.jump", "stroke", face.curve},
        {".outside", "stroke", face.curve},
        {".bar", "fill", face.curve},
        {".dots", "stroke", face.frame},
        {".key", "fill", face.key},
        {".key", "stroke", face.paper},
        {".keyname", "fill", face.key},
        {".lever,.fixedlever", "stroke", face.lever},
        {".control", "fill", face.lever},
        {".control,.fixedcontrol", "stroke", face.lever},
        {".fixedcontrol", "fill", face.paper},
    }};
    std::string css;
    for (const Rule& rule : rules) {
        css += std::string(rule.selector) + "{" + std::string(rule.property) + ":" +
               std::string(rule.value) + "}\n";
    }
    for (std::size_t i = 0; i < face.more.size(); ++i) {
        css += ".curve" + std::to_string(i + 2) + "{stroke:" + std::string(face.more[i]) + "}\n";
    }
    return css;
}

// What both faces share.
constexpr std::string_view kShapes =
    "text{font-family:system-ui,-apple-system,'Segoe UI','DejaVu Sans',sans-serif}\n"
    ".title{font-size:17px;font-weight:600}\n"
    ".label{font-size:12.5px}\n"
    ".small,.tick,.keyname{font-size:11.5px}\n"
    ".keyname{font-weight:600}\n"
    ".grid,.axis,.guide,.lever,.fixedlever,.border,.jump{fill:none;stroke-width:1}\n"
    ".guide{stroke-dasharray:1 4}\n"
    ".beyond{opacity:.16}\n"
    ".curve,.outside{fill:none;stroke-width:2.25;stroke-linejoin:round;stroke-linecap:round}\n"
    ".curve2,.curve3,.curve4,.curve5,.curve6{fill:none;stroke-width:2;stroke-linejoin:round}\n"
    ".outside{stroke-width:1.5;stroke-dasharray:1 4}\n"
    ".jump{stroke-width:1.25;opacity:.65}\n"
    ".bar{opacity:.55}\n"
    ".dots{fill:none;stroke-width:4.5;stroke-linecap:round}\n"
    ".key{stroke-width:1.25}\n"
    ".lever,.fixedlever{stroke-width:1.25}\n"
    ".fixedlever{stroke-dasharray:3 3}\n"
    ".control,.fixedcontrol{stroke-width:1.5}\n";

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string Attribute(std::string_view name, double value) {
    return " " + std::string(name) + "=\"" + ShortText(value, 2) + "\"";
}

std::string Attribute(std::string_view name, std::string_view value) {
    return " " + std::string(name) + "=\"" + Escaped(value) + "\"";
}

std::string Place(Pointd p) {
    return ShortText(p.x, 2) + " " + ShortText(p.y, 2);
}

std::string BoxAttributes(const Box& box) {
    return Attribute("x", box.left) + Attribute("y", box.top) + Attribute("width", box.width) +
           Attribute("height", box.height);
}

}  // namespace

SvgDocument::SvgDocument(double width, double height, std::string_view title,
                         std::string_view description) {
    out = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + ShortText(width, 2) + " " +
          ShortText(height, 2) + "\"" + Attribute("width", width) + Attribute("height", height) +
          " role=\"img\">\n<title>" + Escaped(title) + "</title>\n<desc>" + Escaped(description) +
          "</desc>\n<style>\n" + std::string(kShapes) + Rules(kLight) +
          "@media (prefers-color-scheme:dark){\n" + Rules(kDark) + "}\n</style>\n";
    Rectangle("paper", {0.0, 0.0, width, height}, 6.0);
}

void SvgDocument::Line(std::string_view style, Pointd a, Pointd b) {
    Polyline(style, {a, b});
}

void SvgDocument::Rectangle(std::string_view style, const Box& box, double rounding) {
    out += "<rect" + Attribute("class", style) + BoxAttributes(box);
    if (rounding > 0.0) {
        out += Attribute("rx", rounding);
    }
    out += "/>\n";
}

void SvgDocument::Circle(std::string_view style, Pointd center, double radius) {
    out += "<circle" + Attribute("class", style) + Attribute("cx", center.x) +
           Attribute("cy", center.y) + Attribute("r", radius) + "/>\n";
}

void SvgDocument::Dots(const std::vector<Pointd>& centers) {
    if (centers.empty()) {
        return;
    }
    // A line of no length with round ends is a dot.
    out += "<path class=\"dots\" d=\"";
    for (const Pointd& center : centers) {
        out += "M" + Place(center) + "h0";
    }
    out += "\"/>\n";
}

void SvgDocument::Polygon(std::string_view style, const std::vector<Pointd>& corners) {
    out += "<path" + Attribute("class", style) + " d=\"";
    for (std::size_t i = 0; i < corners.size(); ++i) {
        out += (i == 0 ? "M" : "L") + Place(corners[i]);
    }
    out += "Z\"/>\n";
}

void SvgDocument::Polyline(std::string_view style, const std::vector<Pointd>& points) {
    out += "<path" + Attribute("class", style) + " d=\"";
    for (std::size_t i = 0; i < points.size(); ++i) {
        out += (i == 0 ? "M" : "L") + Place(points[i]);
    }
    // A stroke of a single point still shows, as a dot.
    out += points.size() == 1 ? "h0\"/>\n" : "\"/>\n";
}

void SvgDocument::Text(std::string_view style, Pointd at, std::string_view text, TextAnchor anchor,
                       bool upright) {
    out += "<text" + Attribute("class", style) + Attribute("x", at.x) + Attribute("y", at.y);
    if (anchor != TextAnchor::Start) {
        out += anchor == TextAnchor::Middle ? " text-anchor=\"middle\"" : " text-anchor=\"end\"";
    }
    if (upright) {
        out += " transform=\"rotate(-90 " + Place(at) + ")\"";
    }
    out += ">" + Escaped(text) + "</text>\n";
}

void SvgDocument::BeginClip(const Box& box) {
    const std::string id = "clip" + std::to_string(++clipCount);
    out += "<clipPath" + Attribute("id", id) + "><rect" + BoxAttributes(box) + "/></clipPath>\n" +
           "<g clip-path=\"url(#" + id + ")\">\n";
}

void SvgDocument::EndClip() {
    out += "</g>\n";
}

std::string SvgDocument::Finish() {
    out += "</svg>\n";
    return std::move(out);
}

double SmallTextWidth(std::string_view text) {
    return 6.4 * CharacterCount(text);
}

}  // namespace plot
