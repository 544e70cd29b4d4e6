// Narrow text is UTF-8 whatever it is called; a wide character is a code point.

#include "core/platform/platform.h"

#include <langinfo.h>
namespace core::platform {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsScalarValue(std::uint32_t codePoint) noexcept {
    return codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint <= 0x10FFFF);
}

// The bytes that may follow a lead byte. The first of them has a narrower range
// after some leads, which keeps out overlong forms, surrogates and numbers above
// U+10FFFF (table 3-7 of the Unicode standard).
struct Lead {
    int following;
    std::uint32_t bits;
    std::uint8_t low;
    std::uint8_t high;
};

Lead LeadOf(std::uint8_t byte) noexcept {
    const std::uint32_t bits = byte;
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, bits & 0x1F, 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        const std::uint8_t low = byte == 0xE0 ? 0xA0 : 0x80;
        const std::uint8_t high = byte == 0xED ? 0x9F : 0xBF;
        return {2, bits & 0x0F, low, high};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        const std::uint8_t low = byte == 0xF0 ? 0x90 : 0x80;
        const std::uint8_t high = byte == 0xF4 ? 0x8F : 0xBF;
        return {3, bits & 0x07, low, high};
    }
    return {0, kReplacement, 0, 0};
}

// The code point at `at`, which moves behind it. A sequence that breaks off gives
// one U+FFFD for all of its bytes so far, as the Unicode standard recommends.
std::uint32_t Decode(std::string_view text, std::size_t& at) noexcept {
    const auto first = static_cast<std::uint8_t>(text[at++]);
    if (first < 0x80) {
        return first;
    }
    const Lead lead = LeadOf(first);
    std::uint32_t codePoint = lead.bits;
    for (int i = 0; i < lead.following; ++i) {
        const std::uint8_t low = i == 0 ? lead.low : 0x80;
        const std::uint8_t high = i == 0 ? lead.high : 0xBF;
        const auto byte = at < text.size() ? static_cast<std::uint8_t>(text[at]) : std::uint8_t{0};
        if (byte < low || byte > high) {
            return kReplacement;
        }
        codePoint = codePoint << 6 | (byte & 0x3FU);
        ++at;
    }
    return codePoint;
}

void Encode(std::uint32_t codePoint, std::string& out) {
    const auto put = [&](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    const auto putFollowing = [&](unsigned shift) { put(0x80 | (codePoint >> shift & 0x3F)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        putFollowing(0);
    } else if (codePoint < 0x10000) {
        put(0xE0 | codePoint >> 12);
        putFollowing(6);
        putFollowing(0);
    } else {
        put(0xF0 | codePoint >> 18);
        putFollowing(12);
        putFollowing(6);
        putFollowing(0);
    }
}

}  // namespace

bool ToWide(NarrowEncoding, std::string_view narrow, std::wstring& wide) {
    std::wstring converted;
    converted.reserve(narrow.size());
    for (std::size_t at = 0; at < narrow.size();) {
        converted.push_back(static_cast<wchar_t>(Decode(narrow, at)));
    }
    wide = std::move(converted);
    return true;
}

bool ToNarrow(std::wstring_view wide, NarrowEncoding, std::string& narrow) {
    std::string converted;
    converted.reserve(wide.size());
    for (const wchar_t character : wide) {
        const std::uint32_t codePoint = static_cast<char32_t>(character);
        Encode(IsScalarValue(codePoint) ? codePoint : kReplacement, converted);
    }
    narrow = std::move(converted);
    return true;
}

bool HasDecimalPoint() noexcept {
    // Safe but where the locale changes meanwhile. NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* const point = nl_langinfo(RADIXCHAR);
    return point[0] == '.' && point[1] == '\0';
}

}  // namespace core::platform
