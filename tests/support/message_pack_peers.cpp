#include "support/message_pack_peers.h"

#include <cstdint>
#include <msgpack.hpp>
#include <stdexcept>

// Its header is C alone, and makes do without stdbool.h.
extern "C" {
#include <mpack.h>
}
#undef bool

namespace support {

namespace {

using Packer = msgpack::packer<msgpack::sbuffer>;

const char* Chars(const Bytes& bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

Bytes BytesOf(const msgpack::sbuffer& buffer) {
    return {buffer.data(), buffer.data() + buffer.size()};
}

/// Base64, digit by digit.
std::string Base64(std::string bytes) {
    std::string text;
    const std::size_t size = bytes.size();
    bytes.append(3, '\0');
    for (std::size_t digit = 0; digit * 6 < size * 8; ++digit) {
        int value = 0;
        for (std::size_t bit = 6 * digit; bit < 6 * digit + 6; ++bit) {
            value = 2 * value + (bytes[bit / 8] >> (7 - bit % 8) & 1);
        }
        text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[value];
    }
    return text + std::string((3 - size % 3) % 3, '=');
}

class Maker {
public:
    Maker(Dice& toThrow, msgpack::sbuffer& to, std::string& tree, PackCounts& toCount)
        : dice(toThrow), packer(to), text(tree), counts(toCount) {}

    void Item(int depth) {
        ++counts.items;
        const int children = dice.OneIn(20) ? 20 : dice.Below(4);
        switch (dice.Below(depth > 4 ? 7 : 10)) {
            case 0:
                packer.pack_nil();
                text += "null";
                break;
            case 1:
                packer.pack_true();
                text += "true";
                break;
            case 2:
                Integer();
                break;
            case 3: {
                // Halves are exact in either size, and their digits are few.
                const double value = dice.Below(2001) - 1000 + 0.5;
                dice.OneIn(2) ? packer.pack_float(static_cast<float>(value))
                              : packer.pack_double(value);
                std::string digits = std::to_string(value);
                text += digits.substr(0, digits.find('.') + 2);
                break;
            }
            case 4:
                Text();
                break;
            case 5: {
                ++counts.binaries;
                const std::string bytes = Random();
                packer.pack_bin(static_cast<std::uint32_t>(bytes.size()));
                packer.pack_bin_body(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
                text += "\"base64:" + Base64(bytes) + "\"";
                break;
            }
            case 6: {
                ++counts.extensions;
                const std::string bytes = Random();
                const auto type = static_cast<std::int8_t>(dice.Bits());
                packer.pack_ext(bytes.size(), type);
                packer.pack_ext_body(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
                text += "\"ext:" + std::to_string(type) + ":base64:" + Base64(bytes) + "\"";
                break;
            }
            case 7:
            case 8:
                packer.pack_array(static_cast<std::uint32_t>(children));
                text += "[";
                for (int i = 0; i < children; ++i) {
                    text += i == 0 ? "" : ",";
                    Item(depth + 1);
                }
                text += "]";
                break;
            default:
                packer.pack_map(static_cast<std::uint32_t>(children));
                text += "{";
                for (int i = 0; i < children; ++i) {
                    text += i == 0 ? "" : ",";
                    ++counts.items;
                    if (dice.OneIn(10)) {
                        ++counts.otherKeys;
                        text += "\"";
                        Integer();
                        text += "\"";
                    } else {
                        Text();
                    }
                    text += ": ";
                    Item(depth + 1);
                }
                text += "}";
        }
    }

private:
    // Of any magnitude.
    void Integer() {
        const std::uint64_t bits = dice.Bits() >> dice.Below(64);
        if (dice.OneIn(2)) {
            packer.pack_uint64(bits);
            text += std::to_string(bits);
        } else {
            const std::int64_t value = -1 - static_cast<std::int64_t>(bits / 2);
            counts.smallNegatives += value >= -128 ? 1 : 0;
            packer.pack_int64(value);
            text += std::to_string(value);
        }
    }
    void Text() {
        const std::string letters(static_cast<std::size_t>(dice.OneIn(9) ? 300 : dice.Below(40)),
                                  'k');
        packer.pack(letters);
        text += "\"" + letters + "\"";
    }
    std::string Random() {
        // Among them the sizes of all fixed extensions.
        std::string bytes(static_cast<std::size_t>(dice.OneIn(9) ? 300 : dice.Below(18)), '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(dice.Bits());
        }
        return bytes;
    }

    Dice& dice;
    Packer packer;
    std::string& text;
    PackCounts& counts;
};

}  // namespace

Bytes PackedByAnother(Dice& dice, std::string& text, PackCounts& counts) {
    msgpack::sbuffer buffer;
    Maker(dice, buffer, text, counts).Item(0);
    return BytesOf(buffer);
}

Bytes RepackedByMsgpackCxx(const Bytes& bytes) {
    const msgpack::object_handle tree = msgpack::unpack(Chars(bytes), bytes.size());
    msgpack::sbuffer buffer;
    msgpack::pack(buffer, tree.get());
    return BytesOf(buffer);
}

Bytes RepackedByMpack(const Bytes& bytes) {
    mpack_tokbuf_t reader;
    mpack_tokbuf_t writer;
    mpack_tokbuf_init(&reader);
    mpack_tokbuf_init(&writer);
    std::vector<char> out(2 * bytes.size() + 16);
    const char* from = Chars(bytes);
    std::size_t left = bytes.size();
    char* to = out.data();
    std::size_t room = out.size();
    while (left > 0) {
        mpack_token_t token;
        if (mpack_read(&reader, &from, &left, &token) != MPACK_OK) {
            throw std::runtime_error("mpack does not read this");
        }
        if (token.type == MPACK_TOKEN_SINT && token.length == 8) {
            // Version 1.0.5 reads all of its bits, and writes half of them.
            const auto bits = static_cast<std::uint64_t>(mpack_unpack_sint(token));
            *to++ = '\xD3';
            for (int shift = 56; shift >= 0; shift -= 8) {
                *to++ = static_cast<char>(bits >> shift);
            }
            room -= 9;
        } else if (mpack_write(&writer, &to, &room, &token) != MPACK_OK) {
            throw std::runtime_error("mpack does not write this");
        }
    }
    return {out.data(), to};
}

bool IsTakenByMsgpackCxx(const Bytes& bytes) {
    // Counts and lengths that no such document can back cost it no memory.
    const std::size_t most = bytes.size();
    std::size_t used = 0;
    try {
        msgpack::unpack(Chars(bytes), bytes.size(), used, nullptr, nullptr,
                        msgpack::unpack_limit(most, most, most, most, most, 1'000'000));
    } catch (const std::exception&) {
        return false;
    }
    return used == bytes.size();
}

}  // namespace support
