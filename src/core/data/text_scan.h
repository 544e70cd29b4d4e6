#pragma once

// Scans of JSON text, sixteen bytes at a time.

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace core::detail {

/// What counts as white space: tab, line feed, carriage return and space; the C library
/// adds vertical tab and form feed.
enum class Space : std::uint8_t { OfJson, OfTheCLibrary };
template <Space kSpace>
bool IsSpace(char c) noexcept {
    return c == ' ' ||
           (c >= '\t' && c <= '\r' && (kSpace == Space::OfTheCLibrary || (c != '\v' && c != '\f')));
}

/// Sixteen bytes of text.
class TextBlock {
public:
    static constexpr std::ptrdiff_t kSize = 16;

    explicit TextBlock(const char* text) noexcept { std::memcpy(&bytes, text, sizeof bytes); }
    void CopyTo(char* to) const noexcept { std::memcpy(to, &bytes, sizeof bytes); }

    /// How many bytes from the first on stand for themselves in a string: neither quote
    /// nor backslash nor below a space. 16 when all do.
    int CountPlain() const noexcept {
        const __m128i control = IsUpTo(bytes, 0x1F);
        const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
        const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
        return CountBefore(_mm_or_si128(control, _mm_or_si128(quote, backslash)));
    }
    /// A bit for each byte above ASCII.
    unsigned Others() const noexcept { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); }
    /// How many bytes from the first on are white space; of JSON's, up to a carriage return.
    template <Space kSpace>
    int CountSpace() const noexcept {
        const __m128i space = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(' '));
        constexpr char kLast = kSpace == Space::OfJson ? '\n' : '\r';
        const __m128i fromTab = IsUpTo(_mm_sub_epi8(bytes, _mm_set1_epi8('\t')), kLast - '\t');
        const __m128i other = _mm_cmpeq_epi8(_mm_or_si128(space, fromTab), _mm_setzero_si128());
        return CountBefore(other);
    }

private:
    static __m128i IsUpTo(__m128i value, char most) noexcept {
        return _mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(most)), value);
    }
    static int CountBefore(__m128i found) noexcept {
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(found));
        return std::countr_zero(mask | 0x10000U);
    }

    __m128i bytes;
};

}  // namespace core::detail
