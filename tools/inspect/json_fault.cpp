#include "inspect/json_fault.h"

#include "support/utf8.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>
#include <vector>

namespace inspect {

namespace {

// A container that holds something may lie inside this many others.
constexpr std::size_t kMostAround = 80;

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string Shown(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F) {
        return std::string("'") + c + "'";
    }
    std::array<char, 2> digits = {'0', '0'};
    std::to_chars(digits.data() + (byte < 0x10 ? 1 : 0), digits.data() + digits.size(), byte, 16);
    return "byte 0x" + std::string(digits.data(), digits.size());
}

class Scanner {
public:
    explicit Scanner(std::string_view whole) : text(whole) {}

    std::optional<JsonFault> Scan() {
        ScanValues();
        if (!fault) {
            SkipSpace();
            if (at < text.size()) {
                Fail("nothing may follow the document, but there is " + Shown(text[at]));
            }
        }
        return std::move(fault);
    }

private:
    // The document, container by container without recursion.
    void ScanValues() {
        do {
            SkipSpace();
            const char c = Next();
            if (c == '{' || c == '[') {
                Open(c);
            } else {
                ScanScalar(c);
                EndValue();
            }
        } while (!fault && !open.empty());
    }

    // Stands where the next value starts, unless the container is empty.
    void Open(char bracket) {
        const std::size_t start = at++;
        SkipSpace();
        const char end = bracket == '{' ? '}' : ']';
        if (Next() == end) {
            ++at;
            EndValue();
            return;
        }
        if (open.size() > kMostAround) {
            at = start;
            Fail("nested deeper than " + std::to_string(kMostAround + 1) + " levels");
            return;
        }
        open.push_back(end);
        if (end == '}') {
            ScanName();
        }
    }

    // Behind a value: closes containers until one goes on.
    void EndValue() {
        while (!fault && !open.empty()) {
            SkipSpace();
            if (Next() == ',') {
                ++at;
                if (open.back() == '}') {
                    ScanName();
                }
                return;
            }
            if (Next() != open.back()) {
                FailToFind(std::string("',' or '") + open.back() + "'");
                return;
            }
            ++at;
            open.pop_back();
        }
    }

    void ScanName() {
        SkipSpace();
        if (Next() != '"') {
            FailToFind("a member's name in quotes");
            return;
        }
        ScanString();
        SkipSpace();
        if (!fault && Next() != ':') {
            FailToFind("':'");
        }
        ++at;
    }

    void ScanScalar(char c) {
        if (c == '"') {
            ScanString();
        } else if (c == '-' || IsDigit(c)) {
            ScanNumber();
        } else {
            for (const std::string_view word : {"true", "false", "null"}) {
                if (text.substr(at, word.size()) == word) {
                    at += word.size();
                    return;
                }
            }
            FailToFind("a value");
        }
    }

    void ScanNumber() {
        const std::size_t start = at;
        at += Next() == '-' ? 1U : 0U;
        if (!IsDigit(Next())) {
            at = start;
            Fail("a number without a digit");
            return;
        }
        SkipDigits();
        if (Next() == '.') {
            ++at;
            SkipDigits();
        }
        if (Next() == 'e' || Next() == 'E') {
            const std::size_t exponent = at++;
            at += Next() == '-' || Next() == '+' ? 1U : 0U;
            if (!IsDigit(Next())) {
                at = exponent;  // the number ends before it
            }
            SkipDigits();
        }
    }

    void ScanString() {
        const std::size_t start = at++;
        while (at < text.size() && text[at] != '"') {
            const auto byte = static_cast<unsigned char>(text[at]);
            if (byte < 0x20) {
                Fail("a text holds " + Shown(text[at]) + ", which must be escaped");
                return;
            }
            if (byte != '\\') {
                ++at;
            } else if (!ScanEscape()) {
                return;
            }
        }
        if (at >= text.size()) {
            at = start;
            Fail("a text without a closing quote");
            return;
        }
        ++at;
    }

    bool ScanEscape() {
        const std::size_t start = at;
        const char c = at + 1 < text.size() ? text[at + 1] : '\0';
        if (c != 'u') {
            at += 2;
            if (c == '\0' || std::string_view("nrtbf\"\\/").find(c) == std::string_view::npos) {
                at = start;
                Fail("an escape that does not exist");
                return false;
            }
            return true;
        }
        const unsigned high = HexDigits(at + 2);
        at += 6;
        const bool isHigh = high >= 0xD800 && high < 0xDC00;
        bool isGood = high <= 0xFFFF && (high < 0xDC00 || high > 0xDFFF);
        if (isHigh) {
            const unsigned low = text.substr(at, 2) == "\\u" ? HexDigits(at + 2) : 0;
            isGood = low >= 0xDC00 && low <= 0xDFFF;
            at += 6;
        }
        if (!isGood) {
            at = start;
            Fail(high > 0xFFFF ? "\\u needs four hexadecimal digits"
                               : "half of a surrogate pair stands alone");
        }
        return isGood;
    }

    // More than any four digits are when there are none.
    unsigned HexDigits(std::size_t from) const {
        const std::string_view digits = text.substr(std::min(from, text.size()), 4);
        unsigned value = 0;
        const char* const end = digits.data() + digits.size();
        const bool isGood =
            digits.size() == 4 && std::from_chars(digits.data(), end, value, 16).ptr == end;
        return isGood ? value : 0x10000U;
    }

    // A zero byte where the text ends, as the reader has it: what follows one is unread.
    char Next() const { return at < text.size() ? text[at] : '\0'; }

    void SkipSpace() {
        while (IsSpace(Next())) {
            ++at;
        }
    }

    void SkipDigits() {
        while (IsDigit(Next())) {
            ++at;
        }
    }

    void Fail(std::string what) {
        if (!fault) {
            fault = JsonFault{at, std::move(what)};
        }
    }

    void FailToFind(const std::string& wanted) {
        Fail(at < text.size() ? "expected " + wanted + ", not " + Shown(text[at])
                              : "the text ends where " + wanted + " was expected");
    }

    std::string_view text;
    std::size_t at = 0;
    std::vector<char> open;  // the closing brackets to come
    std::optional<JsonFault> fault;
};

}  // namespace

std::optional<JsonFault> FindJsonFault(std::string_view text) {
    return Scanner(text).Scan();
}

TextPlace PlaceOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 when there is none
    return {static_cast<std::size_t>(line) + 1,
            static_cast<std::size_t>(example::CharacterCount(before.substr(lineStart))) + 1};
}

}  // namespace inspect
