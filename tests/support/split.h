#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace support {

/// The parts of a list between a separator; an empty one at its end is none.
inline std::vector<std::string> Split(const std::string& list, char separator) {
    std::vector<std::string> parts;
    std::istringstream text(list);
    for (std::string part; std::getline(text, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

}  // namespace support
