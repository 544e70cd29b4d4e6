#include <core/data/json_parse.h>

#include "core/data/json_parser.h"
#include "core/data/number_reader.h"
#include "core/data/text_file.h"
#include "core/foundation/system_error_text.h"

#include <core/data/json_value.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace core {
namespace {

using detail::JsonFault;

std::string Shown(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F) {
        return std::string("'") + c + "'";
    }
    std::array<char, 2> digits = {'0', '0'};
    std::to_chars(digits.data() + (byte < 0x10 ? 1 : 0), digits.data() + digits.size(), byte, 16);
    return "byte 0x" + std::string(digits.data(), digits.size());
}

/// A document that could not be read, up to the place where that was noticed.
class Diagnosis {
public:
    /// A zero byte stands behind `whole`; `at` is in it or at its end.
    Diagnosis(std::string_view whole, const char* at)
        : text(whole), offset(static_cast<std::size_t>(at - whole.data())) {}

    JsonParseResult Result(JsonFault fault) {
        JsonParseResult result;
        result.reason = Reason(fault);
        result.offset = offset;
        const std::string_view before = text.substr(0, offset);
        const std::string_view line = before.substr(before.rfind('\n') + 1);
        result.line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
        // Bytes that go on with a character are no column of their own.
        result.column = static_cast<std::size_t>(std::count_if(
                            line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; })) +
                        1;
        return result;
    }

private:
    std::string Reason(JsonFault fault) {
        switch (fault) {
            case JsonFault::NoValue:
                return Expected("a value");
            case JsonFault::NoName:
                return Expected("a member's name in quotes");
            case JsonFault::NoColon:
                return Expected("':'");
            case JsonFault::NoCommaOrBracket:
                return ExpectedBehindValue("',' or ']'");
            case JsonFault::NoCommaOrBrace:
                return ExpectedBehindValue("',' or '}'");
            case JsonFault::BadText:
                return ReasonOfText();
            case JsonFault::BadEscape:
                return ReasonOfEscape();
            case JsonFault::ZeroEscape:
                return "a text holds \\u0000, at which it would end";
            case JsonFault::LongText:
                return "a text of 2147483647 bytes or more";
            case JsonFault::BadNumber:
                return ReasonOfNumber();
            case JsonFault::LeadingZero:
                return "a number with a leading zero";
            case JsonFault::LargeInteger:
                return "an integer of more than 64 bits";
            case JsonFault::LargeNumber:
                return "a number beyond the range of a double";
            case JsonFault::TooDeep:
                return "nested deeper than " + std::to_string(detail::kDeepestLevel + 1) +
                       " levels";
            case JsonFault::None:
                break;
        }
        return IsExponent() ? NoExponent()
                            : "nothing may follow the document, but there is " + Shown(Byte());
    }

    std::string Expected(const std::string& wanted) const {
        return offset < text.size() ? "expected " + wanted + ", not " + Shown(Byte())
                                    : "the text ends where " + wanted + " was expected";
    }
    std::string ExpectedBehindValue(const std::string& wanted) const {
        return IsExponent() ? NoExponent() : Expected(wanted);
    }
    /// A number ends before an exponent that has no digit.
    bool IsExponent() const {
        return offset > 0 && (Byte() | 0x20) == 'e' &&
               (number::IsDigit(text[offset - 1]) || text[offset - 1] == '.');
    }
    static std::string NoExponent() { return "a number without a digit in its exponent"; }

    std::string ReasonOfNumber() const {
        std::size_t at = offset + (Byte() == '-' ? 1U : 0U);
        const bool hasDigit = number::IsDigit(Byte(at));
        return hasDigit ? "a number without a digit behind its point" : "a number without a digit";
    }

    std::string ReasonOfText() {
        if (offset < text.size()) {
            return static_cast<unsigned char>(Byte()) < ' '
                       ? "a text holds " + Shown(Byte()) + ", which must be escaped"
                       : "a text holds " + Shown(Byte()) + ", which is no UTF-8";
        }
        // The quote that opened it is to blame. It is the last one that no backslash
        // escapes: else the text would have ended there.
        do {
            offset = text.rfind('"', offset - 1);
        } while (IsEscaped());
        return "a text without a closing quote";
    }
    /// Whether an odd number of backslashes stands before the place.
    bool IsEscaped() const {
        const std::string_view before = text.substr(0, offset);
        const std::size_t other = before.find_last_not_of('\\');
        return (offset - (other + 1)) % 2 != 0;
    }

    std::string ReasonOfEscape() const {
        if (Byte(offset + 1) != 'u') {
            return "an escape that does not exist";
        }
        const std::string_view digits = text.substr(std::min(offset + 2, text.size()), 4);
        const bool areDigits =
            digits.size() == 4 &&
            digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
        return areDigits ? "half of a surrogate pair stands alone"
                         : "\\u needs four hexadecimal digits";
    }

    char Byte() const { return Byte(offset); }
    char Byte(std::size_t at) const { return at < text.size() ? text[at] : '\0'; }

    std::string_view text;
    std::size_t offset;
};

/// Reads `text`, behind which a zero byte stands, from `start` on.
JsonParseResult Parse(std::string_view text, std::size_t start, JsonValue& out,
                      const JsonParseOptions& options) {
    if (text.size() > static_cast<std::size_t>(detail::kMaxJsonLength)) {
        return {0, 1, 1, "longer than 2147483647 bytes"};
    }
    JsonValue fresh(out.Allocator());
    const detail::JsonReading reading = detail::ReadJson(text.data() + start, fresh, options);
    if (reading.end == text.data() + text.size()) {
        out = std::move(fresh);
        return {};
    }
    // The mark of a file is a part of its bytes, not of its first line.
    const char* const place = reading.end != nullptr ? reading.end : reading.place;
    JsonParseResult result = Diagnosis(text.substr(start), place).Result(reading.fault);
    result.offset += start;
    return result;
}

}  // namespace

std::string JsonParseResult::Message() const {
    return line == 0 ? reason
                     : "line " + std::to_string(line) + ", column " + std::to_string(column) +
                           ": " + reason;
}

JsonParseResult ParseJson(const char* text, JsonValue& out, const JsonParseOptions& options) {
    return Parse(text != nullptr ? text : "", 0, out, options);
}

JsonParseResult ParseJson(const std::string& text, JsonValue& out,
                          const JsonParseOptions& options) {
    return Parse(text, 0, out, options);
}

JsonParseResult ParseJson(std::string_view text, JsonValue& out, const JsonParseOptions& options) {
    return ParseJson(std::string(text), out, options);
}

JsonParseResult ParseJsonFile(const std::string& path, JsonValue& out,
                              const JsonParseOptions& options) {
    detail::FileText text;
    platform::SystemError error = 0;
    switch (detail::ReadTextFile(path, std::uint64_t{detail::kMaxJsonLength}, text, error)) {
        case detail::FileFault::System:
            return {0, 0, 0, "can't be read: " + SystemErrorText(error)};
        case detail::FileFault::TooLarge:
            return {0, 0, 0, "longer than 2147483647 bytes"};
        case detail::FileFault::None:
            break;
    }
    if (detail::HasUtf16Mark(text.View())) {
        return {0, 1, 1, "text in UTF-16, where UTF-8 is wanted"};
    }
    return Parse(text.View(), detail::Utf8MarkSize(text.View()), out, options);
}

}  // namespace core
