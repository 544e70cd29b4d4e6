#include "examples/well_formed.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using Text = std::string_view;

bool IsEscaped(Text text) {
    for (std::size_t at = text.find('&'); at != Text::npos; at = text.find('&', at + 1)) {
        const Text entity = text.substr(at, text.find(';', at) - at + 1);
        if (entity != "&amp;" && entity != "&lt;" && entity != "&gt;" && entity != "&quot;") {
            return false;
        }
    }
    return text.find_first_of("<>") == Text::npos;
}

// The attributes after an element's name: name="value", each after one blank.
bool AreAttributes(Text text) {
    while (!text.empty()) {
        const std::size_t open = text.find("=\"");
        const std::size_t close = open == Text::npos ? open : text.find('"', open + 2);
        if (text.front() != ' ' || close == Text::npos || open < 2) {
            return false;
        }
        const Text value = text.substr(open + 2, close - open - 2);
        const bool isNumeric =
            text.substr(1, open - 1) != "class" && value.find("://") == Text::npos;
        if (!IsEscaped(value) ||
            (isNumeric && (value.find("nan") != Text::npos || value.find("inf") != Text::npos))) {
            return false;
        }
        text.remove_prefix(close + 1);
    }
    return true;
}

}  // namespace

std::string WhyNotWellFormed(std::string_view xml) {
    std::vector<Text> open;
    while (!xml.empty()) {
        const std::size_t start = std::min(xml.find('<'), xml.size());
        const Text between = xml.substr(0, start);
        if (!IsEscaped(between) ||
            (open.empty() && between.find_first_not_of('\n') != Text::npos)) {
            return "a wrong text: " + std::string(between);
        }
        xml.remove_prefix(start);
        if (xml.empty()) {
            break;
        }
        const std::size_t end = xml.find('>');
        if (end == Text::npos) {
            return "an element without an end";
        }
        Text inside = xml.substr(1, end - 1);
        xml.remove_prefix(end + 1);
        if (!inside.empty() && inside.front() == '/') {
            if (open.empty() || open.back() != inside.substr(1)) {
                return "a wrong end: " + std::string(inside);
            }
            open.pop_back();
            continue;
        }
        const bool isWhole = !inside.empty() && inside.back() == '/';
        inside.remove_suffix(isWhole ? 1 : 0);
        const std::size_t name = std::min(inside.find(' '), inside.size());
        if (name == 0 || !AreAttributes(inside.substr(name))) {
            return "a wrong element: " + std::string(inside);
        }
        if (!isWhole) {
            open.push_back(inside.substr(0, name));
        }
    }
    return open.empty() ? "" : "not closed: " + std::string(open.back());
}
