#include "plot/utf8.h"

#include <cstddef>

namespace plot {

namespace {

bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

// How many bytes follow a lead byte, or -1 for none that may lead.
int FollowingBytes(unsigned char lead) {
    return lead < 0x80   ? 0
           : lead < 0xC2 ? -1
           : lead < 0xE0 ? 1
           : lead < 0xF0 ? 2
           : lead < 0xF5 ? 3
                         : -1;
}

}  // namespace

bool IsUtf8Text(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto lead = static_cast<unsigned char>(line[i]);
        if ((lead < 0x20 && lead != '\t') || lead == 0x7F) {
            return false;
        }
        const int following = FollowingBytes(lead);
        if (following < 0) {
            return false;
        }
        unsigned code = following == 0 ? lead : lead & (0x3FU >> following);
        for (int k = 0; k < following; ++k) {
            ++i;
            if (i == line.size() || !IsContinuation(static_cast<unsigned char>(line[i]))) {
                return false;
            }
            code = (code << 6U) | (static_cast<unsigned char>(line[i]) & 0x3FU);
        }
        const bool overlong =
            (following == 2 && code < 0x800) || (following == 3 && code < 0x10000);
        const bool surrogate = code >= 0xD800 && code < 0xE000;
        const bool control = code >= 0x80 && code < 0xA0;
        const bool noncharacter = code == 0xFFFE || code == 0xFFFF;  // XML forbids them
        if (overlong || surrogate || control || noncharacter || code > 0x10FFFF) {
            return false;
        }
    }
    return true;
}

int CharacterCount(std::string_view text) {
    int count = 0;
    for (const char byte : text) {
        count += IsContinuation(static_cast<unsigned char>(byte)) ? 0 : 1;
    }
    return count;
}

}  // namespace plot
