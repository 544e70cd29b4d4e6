#pragma once

#include "core/data/escapes.h"
#include "core/data/utf8.h"

#include <string_view>

namespace core {

/// Hands `text` to `put`, a function of a string_view, piece by piece as what stands between
/// the quotes of a JSON string. Bytes that are no UTF-8 become U+FFFD.
template <class Put>
void PutJsonText(std::string_view text, Put&& put) {
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from != end) {
        const char* const valid = detail::ValidUtf8End(from, end, end);
        const char* plain = from;
        for (const char* at = from; at != valid; ++at) {
            if (static_cast<unsigned char>(*at) >= 0x20 && *at != '"' && *at != '\\') {
                continue;
            }
            char escaped[6];
            put(std::string_view(plain, static_cast<std::size_t>(at - plain)));
            const char* const stop = WriteEscaped(*at, escaped);
            put(std::string_view(escaped, static_cast<std::size_t>(stop - escaped)));
            plain = at + 1;
        }
        put(std::string_view(plain, static_cast<std::size_t>(valid - plain)));
        from = valid;
        if (from != end) {
            put(std::string_view("\xEF\xBF\xBD"));
            ++from;
        }
    }
}

}  // namespace core
