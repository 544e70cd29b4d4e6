#include "support/json_grammar.h"

#include "support/split.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace support {
namespace {

using core::JsonValue;

/// `strtod`; where the C library's own is inexact, with the standard library's value.
double ToDouble(const char* text, char** end) {
    const double number = std::strtod(text, end);
    static const bool isExact =
        BitsOf(std::strtod("9.8402524578508956e+260", nullptr)) == 0x761F'FFFF'FFFF'FFFF;
    double exact = number;
    if (!isExact) {
        std::from_chars(text, *end, exact);
    }
    return exact;
}

class Reader {
public:
    explicit Reader(const char* from) : text(from), at(from) {}

    int Consumed() const { return static_cast<int>(at - text); }

    bool Value(JsonModel& model, int depth) {
        SkipSpace();
        if (*at == '{' || *at == '[') {
            return Container(model, depth);
        }
        if (*at == '"') {
            model.kind = JsonValue::kString;
            return String(model.text);
        }
        if (*at == '-' || (*at >= '0' && *at <= '9')) {
            return Number(model);
        }
        return Word("true", JsonValue::kBool, 1, model) ||
               Word("false", JsonValue::kBool, 0, model) ||
               Word("null", JsonValue::kNull, 0, model);
    }

    bool Container(JsonModel& model, int depth) {
        SkipSpace();
        const bool isArray = *at == '[';
        const char closing = isArray ? ']' : '}';
        model.kind = isArray ? JsonValue::kArray : JsonValue::kObject;
        ++at;
        SkipSpace();
        if (*at == closing) {
            ++at;
            return true;
        }
        while (depth <= 80 && *at != '\0') {
            if (isArray) {
                model.children.emplace_back();
                if (!Value(model.children.back(), depth + 1)) {
                    return false;
                }
            } else if (!Member(model, depth + 1)) {
                return false;
            }
            SkipSpace();
            const char next = *at++;
            if (next == closing) {
                return true;
            }
            if (next != ',') {
                return false;
            }
            SkipSpace();
        }
        return false;
    }

    /// Appends a name and a child to `model`.
    bool Member(JsonModel& model, int depth) {
        SkipSpace();
        model.names.emplace_back();
        model.children.emplace_back();
        if (*at != '"' || !String(model.names.back())) {
            return false;
        }
        SkipSpace();
        return *at++ == ':' && Value(model.children.back(), depth);
    }

    void SkipSpace() {
        while (*at != '\0' && std::strchr("\t\n\v\f\r ", *at) != nullptr) {
            ++at;
        }
    }
    char Next() const { return *at; }

private:
    bool Word(const char* word, int kind, std::uint64_t bits, JsonModel& model) {
        if (std::strncmp(at, word, std::strlen(word)) != 0) {
            return false;
        }
        at += std::strlen(word);
        model.kind = kind;
        model.bits = bits;
        return true;
    }

    bool Number(JsonModel& model) {
        char* end = nullptr;
        const long long number = std::strtoll(at, &end, 10);
        model.kind = JsonValue::kSigned;
        model.bits = static_cast<std::uint64_t>(number);
        if (*end == '.' || *end == 'e' || *end == 'E') {
            model.kind = JsonValue::kDouble;
            model.bits = BitsOf(ToDouble(at, &end));
        } else if (number == std::numeric_limits<long long>::max() && *at != '-' &&
                   errno == ERANGE) {
            model.kind = JsonValue::kUnsigned;
            model.bits = std::strtoull(at, &end, 10);
        }
        const bool isNumber = end != at;
        at = end;
        return isNumber;
    }

    /// Four hexadecimal digits behind `\u`; -1 where they are not.
    static int Unit(const char* escape) {
        int unit = 0;
        if (escape[0] != '\\' || escape[1] != 'u') {
            return -1;
        }
        for (int i = 2; i < 6; ++i) {
            const char* const digits = "0123456789abcdef0123456789ABCDEF";
            const char* const found = escape[i] != '\0' ? std::strchr(digits, escape[i]) : nullptr;
            if (found == nullptr) {
                return -1;
            }
            unit = unit * 16 + static_cast<int>((found - digits) % 16);
        }
        return unit;
    }

    bool String(std::string& decoded) {
        for (++at; *at != '"';) {
            if (static_cast<unsigned char>(*at) < 0x20) {
                return false;
            }
            if (*at != '\\') {
                decoded += *at++;
                continue;
            }
            const char* const shorts = "n\nr\rt\tb\bf\f\"\"\\\\//";
            if (at[1] == 'u') {
                std::uint32_t code = static_cast<std::uint32_t>(Unit(at));
                at += 6;
                if (code >= 0xD800 && code < 0xDC00) {
                    const int low = Unit(at);
                    if (low < 0xDC00 || low > 0xDFFF) {
                        return false;
                    }
                    code = 0x10000 + (code - 0xD800) * 0x400 + static_cast<std::uint32_t>(low) -
                           0xDC00;
                    at += 6;
                } else if (code > 0xFFFF || (code >= 0xDC00 && code < 0xE000)) {
                    return false;
                }
                Append(decoded, code);
                continue;
            }
            const char* letter = shorts;
            while (*letter != '\0' && *letter != at[1]) {
                letter += 2;
            }
            if (*letter == '\0') {
                return false;
            }
            decoded += letter[1];
            at += 2;
        }
        ++at;
        decoded.resize(std::strlen(decoded.c_str()));
        return true;
    }

    static void Append(std::string& text, std::uint32_t code) {
        const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        constexpr std::array<std::uint32_t, 4> kLead = {0, 0xC0, 0xE0, 0xF0};
        text += static_cast<char>(kLead[static_cast<std::size_t>(more)] | code >> (6 * more));
        for (int i = more; i-- > 0;) {
            text += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
        }
    }

    const char* text;
    const char* at;
};

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const char* const letters = "\"\"\\\\\nn\tt\rr\bb\ff";
        const char* letter = letters;
        while (*letter != '\0' && *letter != c) {
            letter += 2;
        }
        if (*letter != '\0') {
            quoted += std::string("\\") + letter[1];
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            quoted += escape.data();
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

}  // namespace

JsonReading ReadPlainly(const std::string& text, JsonNode node, int depth) {
    Reader reader(text.c_str());
    JsonModel model;
    bool isRead = false;
    if (node == JsonNode::Value) {
        isRead = reader.Value(model, depth);
    } else if (node == JsonNode::Member) {
        isRead = reader.Member(model, depth);
    } else {
        reader.SkipSpace();
        isRead = reader.Next() == (node == JsonNode::Array ? '[' : '{') &&
                 reader.Container(model, depth);
    }
    return isRead ? JsonReading{reader.Consumed(), std::move(model)} : JsonReading{};
}

std::string WrittenPlainly(double number) {
    const double x = std::fabs(number);
    double whole = 0;
    const int decimals = std::modf(x * 10, &whole) < 1e-8 ? 1 : x < 1e8 ? 8 : 15;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%0.*f", decimals, number);
    return text.data();
}

std::string WrittenPlainly(const JsonModel& model, bool isPretty, int indent) {
    switch (model.kind) {
        case JsonValue::kBool:
            return model.bits != 0 ? "true" : "false";
        case JsonValue::kSigned:
            return std::to_string(static_cast<std::int64_t>(model.bits));
        case JsonValue::kUnsigned:
            return std::to_string(model.bits);
        case JsonValue::kDouble:
            return WrittenPlainly(std::bit_cast<double>(model.bits));
        case JsonValue::kString:
            return Quoted(model.text);
        case JsonValue::kArray:
        case JsonValue::kObject:
            break;
        default:
            return "null";
    }
    const auto line = [isPretty](int spaces) {
        return isPretty ? std::string(static_cast<std::size_t>(std::max(spaces, 0)), ' ') : "";
    };
    const bool isArray = model.kind == JsonValue::kArray;
    const int inner = std::min(indent + 2, 40);
    std::string text = isArray ? "[" : "{";
    text += isPretty ? "\n" : "";
    for (std::size_t i = 0; i < model.children.size(); ++i) {
        text += i == 0 ? "" : isPretty ? ",\n" : ",";
        text += line(inner) + (isArray ? "" : Quoted(model.names[i]) + ": ");
        text += WrittenPlainly(model.children[i], isPretty, inner);
    }
    text += isPretty && !model.children.empty() ? "\n" : "";
    return text + line(indent) + (isArray ? "]" : "}");
}

namespace {

void AppendSpace(std::string& text, Dice& dice) {
    static const std::vector<std::string> kSpaces = {" ", "\n\t", "\r\v\f", std::string(17, ' '),
                                                     "\n" + std::string(40, ' ')};
    if (dice.OneIn(4)) {
        text += dice.Pick(kSpaces);
    }
}

void AppendString(std::string& text, Dice& dice) {
    static const std::vector<std::string> kPieces = Split(
        R"(a,name,\n\r\t\b\f,\",\\,\/,\u0041,\u00e9,\u20AC,\ud7ff\ue000,\ud83d\ude00,\ud800\udc00,)"
        R"(\udbff\udfff,\u0000,\u001f,fourteen bytes,fifteen  bytes!,sixteen bytes...,)"
        "a long run without any escape of more than three blocks of bytes,"
        "\xC3\xA9,\x80\xFF,\x7F",
        ',');
    static const std::vector<std::string> kFaults =
        Split(R"(\ud83d,\ud83d x,\ud800\udbff,\udbff\ue000,\udc00,\udfff\udc00,\q,\u12g4,\u12,)"
              "\t,\x1F",
              ',');
    text += '"';
    for (int i = dice.Below(5); i > 0; --i) {
        text += dice.Pick(dice.OneIn(60) ? kFaults : kPieces);
    }
    text += '"';
}

void AppendValue(std::string& text, Dice& dice, int depth) {
    static const std::vector<std::string> kWords = {"true", "false", "null",
                                                    "nul",  "True",  "nullx"};
    AppendSpace(text, dice);
    const int choice = dice.Below(depth > 0 ? 10 : 5);
    if (choice == 0) {
        text += kWords[static_cast<std::size_t>(dice.OneIn(20) ? dice.Below(6) : dice.Below(3))];
    } else if (choice < 3) {
        AppendString(text, dice);
    } else if (choice < 5) {
        text += dice.OneIn(8) ? RandomNumberText(dice) : std::to_string(dice.Below(5000) * 0.25);
    } else {
        const bool isArray = choice < 8;
        text += isArray ? '[' : '{';
        for (int count = dice.Below(5), i = 0; i < count; ++i) {
            text += i > 0 ? "," : "";
            if (!isArray) {
                AppendSpace(text, dice);
                AppendString(text, dice);
                AppendSpace(text, dice);
                text += ':';
            }
            AppendValue(text, dice, depth - 1);
        }
        AppendSpace(text, dice);
        text += isArray ? ']' : '}';
    }
    AppendSpace(text, dice);
}

}  // namespace

std::string RandomJsonText(Dice& dice) {
    std::string text;
    AppendValue(text, dice, dice.Below(6));
    for (int edits = dice.OneIn(2) ? dice.Below(3) : 0; edits > 0 && !text.empty(); --edits) {
        static const std::string kBytes =
            "[]{}\",:\\ \n01-.eEtfnux\x01\x1F\x80\xFF" + std::string(1, '\0');
        const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(text.size())));
        const char byte =
            kBytes[static_cast<std::size_t>(dice.Below(static_cast<int>(kBytes.size())))];
        switch (dice.Below(4)) {
            case 0:
                text.erase(at, 1);
                break;
            case 1:
                text.insert(at, 1, byte);
                break;
            case 2:
                text[at] = byte;
                break;
            default:
                text.resize(at);
        }
    }
    return text;
}

double RandomDouble(Dice& dice) {
    const double unit = dice.Between(0, 1);
    const double sign = dice.OneIn(2) ? -1 : 1;
    switch (dice.Below(7)) {
        case 0:  // any bits
            return std::bit_cast<double>(dice.Bits());
        case 1:  // decimals of all lengths, as people write them
            return sign * std::floor(unit * 1e9) / std::pow(10, dice.Below(12));
        case 2:  // ties in the last printed digit
            return sign * std::ldexp(dice.Below(1 << 20), -dice.Below(30));
        case 3:  // around the bounds between the formats
            return sign * std::nextafter(std::pow(10, dice.Below(18) - 9) * (1 + dice.Below(9)),
                                         dice.OneIn(2) ? 0 : 1e300);
        case 4:  // powers of two, their neighbours, subnormals
            return sign * std::nextafter(std::ldexp(1, dice.Below(2098) - 1074),
                                         dice.OneIn(2) ? 0 : 1e300);
        case 5:  // integers, also above 2^53
            return sign * std::floor(std::ldexp(unit, dice.Below(80)));
        default:
            return sign * std::ldexp(unit, dice.Below(60) - 25);
    }
}

std::string RandomNumberText(Dice& dice) {
    static const std::vector<std::string> kSpecial = Split(
        "-,-.5,- 5,007,-0,1.,1.e5,1e,1e+,1E-,0x1.8p1,1.5.5,1e400,-1e400,1e-400,"
        "0e99999999999999999999,1e99999999999999999999,0.0e-9999999999,"
        "9223372036854775807,9223372036854775808,-9223372036854775808,-9223372036854775809,"
        "18446744073709551615,18446744073709551616,99999999999999999999.5,"
        "2.2250738585072011e-308,2.2250738585072014e-308,"
        "2.4703282292062327e-324,2.4703282292062328e-324,"
        "1.7976931348623158e308,1.7976931348623159e308,"
        "9007199254740992.99999999999999999999,9007199254740993.0,"
        "9007199254740993.00000000000000000000000000000000000000000001",
        ',');
    std::string text = dice.OneIn(3) ? "-" : "";
    const auto digits = [&](int count) {
        for (int i = dice.Below(count); i > 0; --i) {
            text += static_cast<char>('0' + dice.Below(10));
        }
    };
    std::array<char, 900> printed{};
    switch (dice.Below(6)) {
        case 0:
            return dice.Pick(kSpecial);
        case 1:  // as printed, with all digits or fewer
            std::snprintf(printed.data(), printed.size(), dice.OneIn(2) ? "%.*e" : "%.*f",
                          dice.Below(25), std::fabs(RandomDouble(dice)));
            text =
                std::isdigit(static_cast<unsigned char>(printed[0])) != 0 ? printed.data() : "1.5";
            break;
        case 2: {  // in the middle of two doubles, or just beside it
            const double low = std::ldexp(1 + dice.Between(0, 1), dice.Below(300) - 150);
            const double step = std::nextafter(low, 1e300) - low;
            std::snprintf(printed.data(), printed.size(), "%.270Lf",
                          static_cast<long double>(low) + static_cast<long double>(step) / 2);
            text = printed.data() + std::string(dice.OneIn(2) ? "1" : "");
            break;
        }
        case 3:  // integers of up to 25 digits
            text += dice.OneIn(4) ? "000000" : "";
            text += static_cast<char>('0' + dice.Below(10));
            digits(25);
            break;
        default:
            text += static_cast<char>('0' + dice.Below(10));
            digits(22);
            text += dice.OneIn(4) ? "" : ".";
            digits(25);
            if (dice.OneIn(2)) {
                text += dice.OneIn(2) ? "e-" : "E";
                digits(4);
            }
    }
    static const std::vector<std::string> kBehind = {"",  "",  ",", " ",       "x",
                                                     ".", "e", "-", "\xC3\xA9"};
    return text + dice.Pick(kBehind);
}

}  // namespace support
