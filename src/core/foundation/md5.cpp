#include <core/foundation/md5.h>

#include <bit>
#include <cstring>

// MD5 after RFC 1321. A round is a chain in which each step waits for the one before,
// so what counts is how few operations lie between `b`, the newest word, and the next
// one. F, G, H and I are written for that:
//
//     F = d ^ (b & (c ^ d))       the RFC's (b & c) | (~b & d)
//     G = (d & b) + (~d & c)      no bit is in both terms; ~d & c does not wait for b
//     H = (c ^ d) ^ b
//     I = c ^ (b | ~d)
namespace core::md5 {

namespace {

using Word = std::uint32_t;

constexpr std::size_t kBlock = 64;
/// Where the length stands in the last block.
constexpr std::size_t kLengthAt = 56;

struct State {
    Word a = 0x67452301;
    Word b = 0xefcdab89;
    Word c = 0x98badcfe;
    Word d = 0x10325476;
};

Word LoadWord(const unsigned char* from) noexcept {
    if constexpr (std::endian::native == std::endian::little) {
        Word word;
        std::memcpy(&word, from, sizeof word);
        return word;
    } else {
        return Word{from[0]} | Word{from[1]} << 8 | Word{from[2]} << 16 | Word{from[3]} << 24;
    }
}

/// `bytes` bytes of `word`, the lowest first.
void StoreWord(std::uint64_t word, std::size_t bytes, unsigned char* to) noexcept {
    for (std::size_t i = 0; i < bytes; ++i) {
        to[i] = static_cast<unsigned char>(word >> (8 * i));
    }
}

// One step: a becomes b + ((a + f(b, c, d) + message + constant) <<< shift). What does
// not depend on b is summed first.
template <int shift>
inline void StepF(Word& a, Word b, Word c, Word d, Word sum) noexcept {
    a += sum;
    a += d ^ (b & (c ^ d));
    a = std::rotl(a, shift) + b;
}
template <int shift>
inline void StepG(Word& a, Word b, Word c, Word d, Word sum) noexcept {
    a += sum;
    a += ~d & c;
    a += d & b;
    a = std::rotl(a, shift) + b;
}
template <int shift>
inline void StepH(Word& a, Word b, Word c, Word d, Word sum) noexcept {
    a += sum;
    a += (c ^ d) ^ b;
    a = std::rotl(a, shift) + b;
}
template <int shift>
inline void StepI(Word& a, Word b, Word c, Word d, Word sum) noexcept {
    a += sum;
    a += c ^ (b | ~d);
    a = std::rotl(a, shift) + b;
}

void AddBlocks(State& state, const unsigned char* data, std::size_t blocks) noexcept {
    Word a = state.a;
    Word b = state.b;
    Word c = state.c;
    Word d = state.d;
    for (; blocks > 0; --blocks, data += kBlock) {
        const auto m = [data](std::size_t i) { return LoadWord(data + 4 * i); };
        const Word a0 = a;
        const Word b0 = b;
        const Word c0 = c;
        const Word d0 = d;

        StepF<7>(a, b, c, d, m(0) + 0xd76aa478);
        StepF<12>(d, a, b, c, m(1) + 0xe8c7b756);
        StepF<17>(c, d, a, b, m(2) + 0x242070db);
        StepF<22>(b, c, d, a, m(3) + 0xc1bdceee);
        StepF<7>(a, b, c, d, m(4) + 0xf57c0faf);
        StepF<12>(d, a, b, c, m(5) + 0x4787c62a);
        StepF<17>(c, d, a, b, m(6) + 0xa8304613);
        StepF<22>(b, c, d, a, m(7) + 0xfd469501);
        StepF<7>(a, b, c, d, m(8) + 0x698098d8);
        StepF<12>(d, a, b, c, m(9) + 0x8b44f7af);
        StepF<17>(c, d, a, b, m(10) + 0xffff5bb1);
        StepF<22>(b, c, d, a, m(11) + 0x895cd7be);
        StepF<7>(a, b, c, d, m(12) + 0x6b901122);
        StepF<12>(d, a, b, c, m(13) + 0xfd987193);
        StepF<17>(c, d, a, b, m(14) + 0xa679438e);
        StepF<22>(b, c, d, a, m(15) + 0x49b40821);

        StepG<5>(a, b, c, d, m(1) + 0xf61e2562);
        StepG<9>(d, a, b, c, m(6) + 0xc040b340);
        StepG<14>(c, d, a, b, m(11) + 0x265e5a51);
        StepG<20>(b, c, d, a, m(0) + 0xe9b6c7aa);
        StepG<5>(a, b, c, d, m(5) + 0xd62f105d);
        StepG<9>(d, a, b, c, m(10) + 0x02441453);
        StepG<14>(c, d, a, b, m(15) + 0xd8a1e681);
        StepG<20>(b, c, d, a, m(4) + 0xe7d3fbc8);
        StepG<5>(a, b, c, d, m(9) + 0x21e1cde6);
        StepG<9>(d, a, b, c, m(14) + 0xc33707d6);
        StepG<14>(c, d, a, b, m(3) + 0xf4d50d87);
        StepG<20>(b, c, d, a, m(8) + 0x455a14ed);
        StepG<5>(a, b, c, d, m(13) + 0xa9e3e905);
        StepG<9>(d, a, b, c, m(2) + 0xfcefa3f8);
        StepG<14>(c, d, a, b, m(7) + 0x676f02d9);
        StepG<20>(b, c, d, a, m(12) + 0x8d2a4c8a);

        StepH<4>(a, b, c, d, m(5) + 0xfffa3942);
        StepH<11>(d, a, b, c, m(8) + 0x8771f681);
        StepH<16>(c, d, a, b, m(11) + 0x6d9d6122);
        StepH<23>(b, c, d, a, m(14) + 0xfde5380c);
        StepH<4>(a, b, c, d, m(1) + 0xa4beea44);
        StepH<11>(d, a, b, c, m(4) + 0x4bdecfa9);
        StepH<16>(c, d, a, b, m(7) + 0xf6bb4b60);
        StepH<23>(b, c, d, a, m(10) + 0xbebfbc70);
        StepH<4>(a, b, c, d, m(13) + 0x289b7ec6);
        StepH<11>(d, a, b, c, m(0) + 0xeaa127fa);
        StepH<16>(c, d, a, b, m(3) + 0xd4ef3085);
        StepH<23>(b, c, d, a, m(6) + 0x04881d05);
        StepH<4>(a, b, c, d, m(9) + 0xd9d4d039);
        StepH<11>(d, a, b, c, m(12) + 0xe6db99e5);
        StepH<16>(c, d, a, b, m(15) + 0x1fa27cf8);
        StepH<23>(b, c, d, a, m(2) + 0xc4ac5665);

        StepI<6>(a, b, c, d, m(0) + 0xf4292244);
        StepI<10>(d, a, b, c, m(7) + 0x432aff97);
        StepI<15>(c, d, a, b, m(14) + 0xab9423a7);
        StepI<21>(b, c, d, a, m(5) + 0xfc93a039);
        StepI<6>(a, b, c, d, m(12) + 0x655b59c3);
        StepI<10>(d, a, b, c, m(3) + 0x8f0ccc92);
        StepI<15>(c, d, a, b, m(10) + 0xffeff47d);
        StepI<21>(b, c, d, a, m(1) + 0x85845dd1);
        StepI<6>(a, b, c, d, m(8) + 0x6fa87e4f);
        StepI<10>(d, a, b, c, m(15) + 0xfe2ce6e0);
        StepI<15>(c, d, a, b, m(6) + 0xa3014314);
        StepI<21>(b, c, d, a, m(13) + 0x4e0811a1);
        StepI<6>(a, b, c, d, m(4) + 0xf7537e82);
        StepI<10>(d, a, b, c, m(11) + 0xbd3af235);
        StepI<15>(c, d, a, b, m(2) + 0x2ad7d2bb);
        StepI<21>(b, c, d, a, m(9) + 0xeb86d391);

        a += a0;
        b += b0;
        c += c0;
        d += d0;
    }
    state = {a, b, c, d};
}

}  // namespace

void MD5Sum(const void* data, std::size_t length, MD5Digest* out) noexcept {
    const unsigned char* const bytes = static_cast<const unsigned char*>(data);
    const std::size_t whole = length / kBlock;
    const std::size_t rest = length % kBlock;
    State state;
    AddBlocks(state, bytes, whole);

    // The rest, a one bit, zeros, and the length in bits at the end of a block.
    unsigned char tail[2 * kBlock] = {};
    if (rest > 0) {
        std::memcpy(tail, bytes + whole * kBlock, rest);
    }
    tail[rest] = 0x80;
    const std::size_t tailBlocks = rest < kLengthAt ? 1 : 2;
    StoreWord(std::uint64_t{length} * 8, 8, tail + (tailBlocks - 1) * kBlock + kLengthAt);
    AddBlocks(state, tail, tailBlocks);

    StoreWord(state.a, 4, out->bytes);
    StoreWord(state.b, 4, out->bytes + 4);
    StoreWord(state.c, 4, out->bytes + 8);
    StoreWord(state.d, 4, out->bytes + 12);
}

std::string MD5String(const void* data, std::size_t length) {
    static constexpr char kDigits[] = "0123456789abcdef";
    MD5Digest digest;
    MD5Sum(data, length, &digest);
    std::string text;
    text.reserve(2 * sizeof digest.bytes);
    for (const std::uint8_t byte : digest.bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace core::md5
