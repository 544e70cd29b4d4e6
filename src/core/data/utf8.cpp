// UTF-8 is told apart by pairs of bytes: what the high half and the low half of the first
// one and the high half of the second one allow each, as sets of faults, has nothing in
// common where the pair is good (J. Keiser, D. Lemire, "Validating UTF-8 in less than one
// instruction per byte", Software: Practice and Experience 51, 2021). Sixteen pairs at a
// time need a processor that looks up bytes; others, and the search for the place of a
// fault, go character by character.

#include "core/data/utf8.h"

#include <tmmintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace core::detail {

namespace {

/// The bytes of the character whose first four are `word`, the first in the lowest byte;
/// 0 when they are none.
int LengthOf(std::uint32_t word) noexcept {
    if ((word & 0x80) == 0) {
        return 1;
    }
    if ((word & 0xC0E0) == 0x80C0) {
        return (word & 0x1E) != 0 ? 2 : 0;
    }
    if ((word & 0xC0C0F0) == 0x8080E0) {
        // The shortest form, and no surrogate.
        const std::uint32_t top = word & 0x200F;
        return top != 0 && top != 0x200D ? 3 : 0;
    }
    if ((word & 0xC0C0C0F8) == 0x808080F0) {
        // From U+10000 to U+10FFFF.
        const std::uint32_t top = (word & 0x07) << 2 | (word >> 12 & 0x03);
        return top != 0 && top <= 0x10 ? 4 : 0;
    }
    return 0;
}

const char* ValidEndByCharacters(const char* from, const char* end) noexcept {
    while (from < end) {
        std::uint32_t word = 0;
        std::memcpy(&word, from, static_cast<std::size_t>(end - from < 4 ? end - from : 4));
        const int length = LengthOf(word);
        if (length == 0) {
            return from;
        }
        from += length;
    }
    return end;
}

// What may be wrong with a pair.
enum Fault : unsigned {
    kTooShort = 1 << 0,   // a character begins where another one goes on
    kTooLong = 1 << 1,    // a byte goes on behind ASCII
    kOverlong3 = 1 << 2,  // E0, below A0
    kTooLarge = 1 << 3,   // above F4 8F
    kSurrogate = 1 << 4,  // ED, from A0 on
    kOverlong2 = 1 << 5,  // C0 and C1
    kOverlong4 = 1 << 6,  // F0, below 90; or F5 and above, with 80 to 8F
    kTwoGoOn = 1 << 7,    // both go on: wrong unless a character is that long
    kByTheHalves = kTooShort | kTooLong | kTwoGoOn,
};
constexpr unsigned kGoesOn = kTooLong | kOverlong2 | kTwoGoOn;

using Table = std::array<std::uint8_t, 16>;
constexpr Table kOfFirstHigh = {kTooLong,
                                kTooLong,
                                kTooLong,
                                kTooLong,
                                kTooLong,
                                kTooLong,
                                kTooLong,
                                kTooLong,
                                kTwoGoOn,
                                kTwoGoOn,
                                kTwoGoOn,
                                kTwoGoOn,
                                kTooShort | kOverlong2,
                                kTooShort,
                                kTooShort | kOverlong3 | kSurrogate,
                                kTooShort | kTooLarge | kOverlong4};
constexpr unsigned kAbove4 = kByTheHalves | kTooLarge | kOverlong4;
constexpr Table kOfFirstLow = {kByTheHalves | kOverlong3 | kOverlong2 | kOverlong4,
                               kByTheHalves | kOverlong2,
                               kByTheHalves,
                               kByTheHalves,
                               kByTheHalves | kTooLarge,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4,
                               kAbove4 | kSurrogate,
                               kAbove4,
                               kAbove4};
constexpr Table kOfSecondHigh = {kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kGoesOn | kOverlong3 | kOverlong4,
                                 kGoesOn | kOverlong3 | kTooLarge,
                                 kGoesOn | kSurrogate | kTooLarge,
                                 kGoesOn | kSurrogate | kTooLarge,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort,
                                 kTooShort};

constexpr std::ptrdiff_t kBlock = sizeof(__m128i);

__m128i Load(const void* bytes) noexcept {
    __m128i block;
    std::memcpy(&block, bytes, sizeof block);
    return block;
}

/// The block at `from`, with zeros from `end` on, which lies in it.
__m128i LoadLast(const char* from, const char* end, const char* limit) noexcept {
    static constexpr std::array<std::int8_t, 2 * kBlock> kOnesAndZeros = {
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const std::ptrdiff_t left = end - from;
    if (limit - from >= kBlock) {
        return _mm_and_si128(Load(from), Load(kOnesAndZeros.data() + (kBlock - left)));
    }
    std::array<char, kBlock> last{};
    std::memcpy(last.data(), from, static_cast<std::size_t>(left));
    return Load(last.data());
}

/// Whether four blocks hold nothing but ASCII.
bool IsAscii4(const char* from) noexcept {
    const __m128i first = _mm_or_si128(Load(from), Load(from + kBlock));
    const __m128i second = _mm_or_si128(Load(from + 2 * kBlock), Load(from + 3 * kBlock));
    return _mm_movemask_epi8(_mm_or_si128(first, second)) == 0;
}

[[gnu::target("ssse3")]] bool IsValid(const char* from, const char* end,
                                      const char* limit) noexcept {
    const __m128i low = _mm_set1_epi8(0x0F);
    const __m128i ofFirstHigh = Load(kOfFirstHigh.data());
    const __m128i ofFirstLow = Load(kOfFirstLow.data());
    const __m128i ofSecondHigh = Load(kOfSecondHigh.data());
    __m128i before = _mm_setzero_si128();
    __m128i faults = _mm_setzero_si128();
    // At least one zero behind the end shows a character that is cut there.
    for (; from <= end; from += kBlock) {
        if (_mm_movemask_epi8(before) == 0) {
            // `before` may stay, being ASCII as what is left out.
            while (end - from >= 4 * kBlock && IsAscii4(from)) {
                from += 4 * kBlock;
            }
        }
        const __m128i block = end - from >= kBlock ? Load(from) : LoadLast(from, end, limit);
        const __m128i first = _mm_alignr_epi8(block, before, 15);
        const __m128i halves = _mm_and_si128(
            _mm_and_si128(
                _mm_shuffle_epi8(ofFirstHigh, _mm_and_si128(_mm_srli_epi16(first, 4), low)),
                _mm_shuffle_epi8(ofFirstLow, _mm_and_si128(first, low))),
            _mm_shuffle_epi8(ofSecondHigh, _mm_and_si128(_mm_srli_epi16(block, 4), low)));
        // Behind E0 and above the second byte goes on, behind F0 and above the third.
        const __m128i third = _mm_subs_epu8(_mm_alignr_epi8(block, before, 14),
                                            _mm_set1_epi8(static_cast<char>(0xE0 - 0x80)));
        const __m128i fourth = _mm_subs_epu8(_mm_alignr_epi8(block, before, 13),
                                             _mm_set1_epi8(static_cast<char>(0xF0 - 0x80)));
        const __m128i mayGoOn =
            _mm_and_si128(_mm_or_si128(third, fourth), _mm_set1_epi8(static_cast<char>(0x80)));
        faults = _mm_or_si128(faults, _mm_xor_si128(halves, mayGoOn));
        before = block;
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi8(faults, _mm_setzero_si128())) == 0xFFFF;
}

}  // namespace

const char* ValidUtf8End(const char* from, const char* end, const char* limit) noexcept {
    if (__builtin_cpu_supports("ssse3") && IsValid(from, end, limit)) {
        return end;
    }
    return ValidEndByCharacters(from, end);
}

}  // namespace core::detail
