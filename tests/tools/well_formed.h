#pragma once

#include <cstddef>
#include <string>

/// Whether the elements of an SVG text may nest and its numbers are finite: each
/// `<` belongs to an element that has an end.
inline bool LooksWellFormed(const std::string& svg) {
    auto count = [&svg](const std::string& part) {
        std::size_t found = 0;
        for (auto at = svg.find(part); at != std::string::npos; at = svg.find(part, at + 1)) {
            ++found;
        }
        return found;
    };
    return count("<") == 2 * count("</") + count("/>") && count("<") == count(">") &&
           count("\"") % 2 == 0 && count("\"nan") + count(",nan") + count(" nan") == 0 &&
           count("\"inf") + count(",inf") + count("-inf") == 0;
}
