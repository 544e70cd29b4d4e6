#pragma once

// Scans of JSON text, in blocks of bytes.

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace core::detail {

/// What counts as white space: tab, line feed, carriage return and space; the C library
/// adds vertical tab and form feed.
enum class Space : std::uint8_t { OfJson, OfTheCLibrary };

/// Sixteen bytes of text.
class TextBlock {
public:
    static constexpr std::ptrdiff_t kSize = 16;

    explicit TextBlock(const char* text) noexcept { std::memcpy(&bytes, text, sizeof bytes); }
    void CopyTo(char* to) const noexcept { std::memcpy(to, &bytes, sizeof bytes); }

    /// A bit for each byte above ASCII.
    unsigned Others() const noexcept { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); }
    /// A bit for each byte that is no white space.
    template <Space kSpace>
    unsigned OtherThanSpace() const noexcept {
        const __m128i space = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(' '));
        const __m128i fromTab = _mm_sub_epi8(bytes, _mm_set1_epi8('\t'));
        const __m128i control = kSpace == Space::OfJson
                                    ? _mm_or_si128(IsUpTo(fromTab, '\n' - '\t'),
                                                   _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')))
                                    : IsUpTo(fromTab, '\r' - '\t');
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(space, control))) ^ 0xFFFFU;
    }
    /// A bit for each byte that does not stand for itself in a string.
    unsigned EndsOfPlain() const noexcept {
        const __m128i control = IsUpTo(bytes, 0x1F);
        const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
        const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
        return static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(control, _mm_or_si128(quote, backslash))));
    }

    /// How many bytes from the first on stand for themselves in a string: neither quote
    /// nor backslash nor below a space. 16 when all do.
    int CountPlain() const noexcept { return std::countr_zero(EndsOfPlain() | 0x10000U); }

private:
    static __m128i IsUpTo(__m128i value, char most) noexcept {
        return _mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(most)), value);
    }

    __m128i bytes;
};

/// A bit for each of some thousand bytes of text: what comes next is found then without a
/// look at the bytes between. A walk over the text does not wait for them, and takes no
/// branch on how many they are.
template <Space kSpace>
class TextMap {
public:
    static constexpr std::ptrdiff_t kBlock = 64;

    /// The first byte from `at` on that is no white space, or that ends the plain part of a
    /// string: quote, backslash, anything below a space. Null where the map does not tell.
    const char* SkipSpace(const char* at) const noexcept { return Find(others, at); }
    const char* SkipPlain(const char* at) const noexcept { return Find(ends, at); }
    /// `at`, or the end of the map where that lies behind it: there a search goes on that
    /// has found nothing.
    const char* GoOnFrom(const char* at) const noexcept {
        return static_cast<std::size_t>(at - base) < covered ? base + covered : at;
    }

    /// Covers the text from `text` on, but no byte from `limit` on, where a zero byte stands
    /// if this is the end; else that is a block away at least.
    void Map(const char* text, const char* limit, bool isEnd) noexcept {
        base = text;
        const std::ptrdiff_t size = std::min(limit - text, kMostBlocks * kBlock);
        const auto blocks = static_cast<std::size_t>(size / kBlock);
        if (__builtin_cpu_supports("avx2")) {
            MapInHalves(text, blocks);
        } else {
            for (std::size_t i = 0; i < blocks; ++i) {
                MapBlock(text + i * kBlock, i);
            }
        }
        covered = blocks * kBlock;
        if (isEnd && text + size == limit) {
            // The zero byte is found by both.
            char last[kBlock] = {};
            const std::size_t left = static_cast<std::size_t>(size) - covered;
            std::memcpy(last, text + covered, left);
            MapBlock(last, blocks);
            covered += left + 1;
        }
    }

private:
    static constexpr std::ptrdiff_t kMostBlocks = 64;
    using Words = std::array<std::uint64_t, kMostBlocks + 1>;

    const char* Find(const Words& words, const char* at) const noexcept {
        const auto offset = static_cast<std::size_t>(at - base);
        if (offset >= covered) [[unlikely]] {
            return nullptr;
        }
        std::size_t index = offset / kBlock;
        const std::uint64_t word = words[index] >> offset % kBlock;
        if (word != 0) [[likely]] {
            return at + std::countr_zero(word);
        }
        while (++index * kBlock < covered) {
            if (words[index] != 0) {
                return base + index * kBlock + std::countr_zero(words[index]);
            }
        }
        return nullptr;
    }

    void MapBlock(const char* text, std::size_t index) noexcept {
        std::uint64_t other = 0;
        std::uint64_t end = 0;
        for (int i = 0; i < static_cast<int>(kBlock); i += TextBlock::kSize) {
            const TextBlock block(text + i);
            other |= std::uint64_t{block.OtherThanSpace<kSpace>()} << i;
            end |= std::uint64_t{block.EndsOfPlain()} << i;
        }
        others[index] = other;
        ends[index] = end;
    }
    [[gnu::target("avx2"), gnu::noinline]] void MapInHalves(const char* text,
                                                            std::size_t blocks) noexcept {
        // Each white space stands where its low half says, and only it is what it finds there.
        constexpr char kVt = kSpace == Space::OfJson ? 0 : '\v';
        constexpr char kFf = kSpace == Space::OfJson ? 0 : '\f';
        const __m256i spaces =
            _mm256_setr_epi8(' ', 0, 0, 0, 0, 0, 0, 0, 0, '\t', '\n', kVt, kFf, '\r', 0, 0, ' ', 0,
                             0, 0, 0, 0, 0, 0, 0, '\t', '\n', kVt, kFf, '\r', 0, 0);
        const __m256i control = _mm256_set1_epi8(0x1F);
        const __m256i quote = _mm256_set1_epi8('"');
        const __m256i backslash = _mm256_set1_epi8('\\');
        for (std::size_t i = 0; i < blocks; ++i) {
            std::uint64_t space[2];
            std::uint64_t end[2];
            for (std::size_t half = 0; half < 2; ++half) {
                __m256i bytes;
                std::memcpy(&bytes, text + i * kBlock + half * sizeof bytes, sizeof bytes);
                space[half] = static_cast<unsigned>(_mm256_movemask_epi8(
                    _mm256_cmpeq_epi8(_mm256_shuffle_epi8(spaces, bytes), bytes)));
                end[half] = static_cast<unsigned>(_mm256_movemask_epi8(
                    _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(bytes, quote),
                                                    _mm256_cmpeq_epi8(bytes, backslash)),
                                    _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, control), bytes))));
            }
            others[i] = ~(space[0] | space[1] << 32);
            ends[i] = end[0] | end[1] << 32;
        }
    }

    const char* base = nullptr;
    std::size_t covered = 0;
    Words others;
    Words ends;
};

}  // namespace core::detail
