#include "core/logging/line_format.h"

#include "core/data/number_writer.h"
#include "core/logging/json_text.h"
#include "core/logging/usual_format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>

namespace core {
namespace {

constexpr std::string_view kResetColour = "\x1b[m";

struct NamedLevel {
    std::string_view name;
    std::string_view colourPrefix;
};

// By level, from 0 on.
constexpr NamedLevel kLevels[] = {
    {"Verbose", kResetColour},       // 0
    {"Debug", "\x1b[38;5;247m"},     // 1
    {"Performance", kResetColour},   // 2
    {"Tracking", "\x1b[38;5;116m"},  // 3
    {"Info", "\x1b[92m"},            // 4
    {"Warn", "\x1b[33m"},            // 5
    {"Error", "\x1b[31m"},           // 6
    {"Fatal", "\x1b[31m"},           // 7
    {"Off", kResetColour},           // 8
};

constexpr int kFirstUserLevel = -100;
constexpr int kUserLevels = 30;

void AppendNumber(auto number, LineBuffer& line) {
    char digits[24];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    line.Append({digits, static_cast<std::size_t>(end - digits)});
}

/// How many bytes from `at` on are one control character: C0, DEL or, as UTF-8, C1.
std::size_t ControlAt(std::string_view text, std::size_t at) noexcept {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 || byte == 0x7f) {
        return 1;
    }
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    return byte == 0xc2 && next >= 0x80 && next < 0xa0 ? 2 : 0;
}

void AppendEscaped(std::string_view text, LineBuffer& line) {
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = ControlAt(text, at);
        if (size == 0) {
            ++at;
            continue;
        }
        line.Append(text.substr(done, at - done));
        const char c = text[at + size - 1];
        constexpr std::string_view kDigits = "0123456789abcdef";
        const auto code = static_cast<unsigned char>(c);
        line.Append('\\');
        if (c == '\n' || c == '\t' || c == '\r') {
            line.Append(c == '\n' ? 'n' : c == '\t' ? 't' : 'r');
        } else {
            line.Append('x');
            line.Append(kDigits[code >> 4]);
            line.Append(kDigits[code & 15]);
        }
        at += size;
        done = at;
    }
    line.Append(text.substr(done));
}

void AppendText(std::string_view text, const LineFields& fields, LineBuffer& line) {
    if (fields.isOneLine) {
        AppendEscaped(text, line);
    } else {
        line.Append(text);
    }
}

void AppendText(const char* text, const LineFields& fields, LineBuffer& line) {
    if (text != nullptr) {
        AppendText(std::string_view(text), fields, line);
    }
}

/// Nothing in a name looks like the end of its field.
void AppendThreadName(const char* name, LineBuffer& line) {
    if (name == nullptr || *name == '\0') {
        return;
    }
    line.Append(' ');
    const std::string_view text(name);
    for (std::size_t at = 0; at < text.size();) {
        const bool isBracket = text[at] == '[' || text[at] == ']';
        const std::size_t size = isBracket ? 1 : ControlAt(text, at);
        line.Append(size > 0 ? '_' : text[at]);
        at += std::max<std::size_t>(size, 1);
    }
}

void AppendLevel(int level, Colour colour, LineBuffer& line) {
    const LevelText text = LevelTextOf(level);
    const bool isColoured = colour == Colour::Yes && text.isNamed;
    if (isColoured) {
        line.Append(text.colourPrefix);
    }
    line.Append(text.Name());
    if (isColoured) {
        line.Append(kResetColour);
    }
}

void AppendField(char field, const LineFields& fields, Colour colour, LineBuffer& line) {
    switch (field) {
        case 's':
            AppendLevel(fields.level, colour, line);
            break;
        case 'i':
            AppendNumber(fields.threadId, line);
            AppendThreadName(fields.threadName, line);
            break;
        case 'd':
            line.Append(fields.time);
            break;
        case 't':
            AppendText(fields.tag, fields, line);
            break;
        case 'm':
            AppendText(fields.body, fields, line);
            break;
        case 'f':
            AppendText(fields.function, fields, line);
            break;
        case 'l':
            AppendNumber(fields.line, line);
            break;
        case 'F':
            AppendText(fields.file, fields, line);
            break;
        default:
            break;
    }
}

template <class Buffer>
void AppendQuoted(std::string_view text, Buffer& line) {
    line.Append('"');
    PutJsonText(text, [&](std::string_view piece) { line.Append(piece); });
    line.Append('"');
}

template <class Buffer>
void AppendJsonValue(const TraceProperty& property, Buffer& line) {
    char digits[kNumberRoom];
    const char* end = digits;
    switch (property.Type()) {
        case CORE_TRACE_TEXT:
            if (property.Text() != nullptr) {
                AppendQuoted(property.Text(), line);
                return;
            }
            break;
        case CORE_TRACE_DOUBLE:
            if (std::isfinite(property.Real())) {
                end = WriteShortest(property.Real(), digits);
            }
            break;
        default:
            end = WriteNumber(property.Integer(), digits);
            break;
    }
    line.Append(end != digits ? std::string_view(digits, static_cast<std::size_t>(end - digits))
                              : std::string_view("null"));
}

void AppendMember(std::string_view name, const char* text, LineBuffer& line) {
    if (text != nullptr) {
        line.Append(",\"");
        line.Append(name);
        line.Append("\":");
        AppendQuoted(text, line);
    }
}

// Kept on purpose: collectors are set up for these names.
void ExpandJson(const LineFields& fields, LineBuffer& line) {
    // Each byte may take six.
    constexpr std::size_t kLongestMessage = kLongestBody / 6;
    line.Append("{\"time\":");
    AppendQuoted(IsoTime(fields.time), line);
    line.Append(",\"level\":");
    AppendQuoted(LevelTextOf(fields.level).Name(), line);
    AppendMember("module", fields.module, line);
    AppendMember("tag", fields.tag, line);
    line.Append(",\"thread\":");
    AppendNumber(fields.threadId, line);
    if (fields.threadName != nullptr && *fields.threadName != '\0') {
        AppendMember("thread_name", fields.threadName, line);
    }
    line.Append(",\"message\":");
    AppendQuoted(fields.body.substr(0, kLongestMessage), line);
    if (fields.body.size() > kLongestMessage) {
        line.Append(",\"message_bytes\":");
        AppendNumber(fields.body.size(), line);
    }
    AppendMember("function", fields.function, line);
    if (fields.line != -1) {
        line.Append(",\"line\":");
        AppendNumber(fields.line, line);
    }
    AppendMember("file", fields.file, line);
    const char* between = ",\"fields\":{";
    for (std::size_t i = 0; i < fields.propertyCount; ++i) {
        const TraceProperty& property = fields.properties[i];
        if (property.Name() != nullptr) {
            line.Append(std::string_view(between));
            AppendQuoted(property.Name(), line);
            line.Append(':');
            AppendJsonValue(property, line);
            between = ",";
        }
    }
    line.Append(*between == ',' && between[1] == '\0' ? "}}" : "}");
}

/// Cuts `text` to `longest` bytes, between two characters, and says so behind it.
template <std::size_t Size>
void Cut(std::size_t longest, std::size_t whole, TextBuffer<Size>& text) {
    constexpr std::string_view kNote = "... cut, bytes in all: ";
    constexpr std::size_t kNoteSize = kNote.size() + 20;
    std::size_t size = std::min(text.Size(), longest - kNoteSize);
    while (size > 0 && size < text.Size() &&
           (static_cast<unsigned char>(text.View()[size]) & 0xC0) == 0x80) {
        --size;
    }
    text.SetSize(size);
    text.Append(kNote);
    text.Append(std::to_string(whole));
}

void CutLine(LineBuffer& line) {
    if (line.Size() > kLongestLine) {
        Cut(kLongestLine, line.Size(), line);
    }
}

}  // namespace

LevelText LevelTextOf(int level) noexcept {
    LevelText text;
    const auto take = [&](std::string_view name) {
        std::copy(name.begin(), name.end(), text.storage);
        text.size = name.size();
    };
    const auto takeNumber = [&](int number) {
        char* const end = std::end(text.storage);
        text.size = static_cast<std::size_t>(
            std::to_chars(text.storage + text.size, end, number).ptr - text.storage);
    };
    if (level >= 0 && level < static_cast<int>(std::size(kLevels))) {
        const NamedLevel& named = kLevels[level];
        take(named.name);
        text.colourPrefix = named.colourPrefix;
        text.isNamed = true;
    } else if (level >= kFirstUserLevel && level < kFirstUserLevel + kUserLevels) {
        take("User");
        takeNumber(level - kFirstUserLevel);
        text.isNamed = true;
    } else {
        takeNumber(level);
    }
    return text;
}

std::string_view PatternOf(const LineFields& fields) noexcept {
    static constexpr std::string_view kPatterns[] = {
        "[%s][%i][%d][%t]%m",         "[%s][%i][%d][%t]%m[%f]",
        "[%s][%i][%d][%t]%m[%l]",     "[%s][%i][%d][%t]%m[%f][%l]",
        "[%s][%i][%d][%t]%m[%F]",     "[%s][%i][%d][%t]%m[%f][%F]",
        "[%s][%i][%d][%t]%m[%l][%F]", "[%s][%i][%d][%t]%m[%f][%l][%F]",
    };
    return kPatterns[(fields.function != nullptr ? 1 : 0) + (fields.line != -1 ? 2 : 0) +
                     (fields.file != nullptr ? 4 : 0)];
}

void ExpandPattern(std::string_view pattern, const LineFields& fields, Colour colour,
                   LineBuffer& line) {
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] != '%') {
            line.Append(pattern[at]);
        } else if (++at < pattern.size()) {
            AppendField(pattern[at], fields, colour, line);
        }
    }
    CutLine(line);
}

void ExpandLine(const LineFields& fields, Colour colour, LineBuffer& line) {
    if (fields.isJson) {
        ExpandJson(fields, line);
        return;
    }
    // What PatternOf says, without the pattern.
    line.Append('[');
    AppendLevel(fields.level, colour, line);
    line.Append("][");
    AppendNumber(fields.threadId, line);
    AppendThreadName(fields.threadName, line);
    line.Append("][");
    line.Append(fields.time);
    line.Append("][");
    AppendText(fields.tag, fields, line);
    line.Append(']');
    AppendText(fields.body, fields, line);
    if (fields.function != nullptr) {
        line.Append('[');
        AppendText(fields.function, fields, line);
        line.Append(']');
    }
    if (fields.line != -1) {
        line.Append('[');
        AppendNumber(fields.line, line);
        line.Append(']');
    }
    if (fields.file != nullptr) {
        line.Append('[');
        AppendText(fields.file, fields, line);
        line.Append(']');
    }
    CutLine(line);
}

void AppendProperties(const LineFields& fields, BodyBuffer& body) {
    for (std::size_t i = 0; i < fields.propertyCount; ++i) {
        const TraceProperty& property = fields.properties[i];
        if (property.Name() == nullptr) {
            continue;
        }
        body.Append(' ');
        body.Append(std::string_view(property.Name()));
        body.Append('=');
        const bool isText = property.Type() == CORE_TRACE_TEXT && property.Text() != nullptr;
        if (isText &&
            std::string_view(property.Text()).find_first_of(" \"=") == std::string_view::npos) {
            body.Append(std::string_view(property.Text()));
        } else {
            AppendJsonValue(property, body);
        }
    }
}

std::string IsoTime(std::string_view time) {
    // "2024-01-31 23:59:59.123T+0100"
    constexpr std::size_t kSize = 29;
    std::string iso(time);
    if (time.size() == kSize && time[10] == ' ' && time[23] == 'T') {
        iso[10] = 'T';
        iso.erase(23, 1);
        iso.insert(26, 1, ':');
    }
    return iso;
}

std::string_view TimeIn(std::string_view line) noexcept {
    constexpr std::string_view kJsonBegin = "{\"time\":\"";
    if (line.substr(0, kJsonBegin.size()) == kJsonBegin) {
        line.remove_prefix(kJsonBegin.size());
        return line.substr(0, line.find('"'));
    }
    // "[LEVEL][THREAD][TIME]"
    std::size_t begin = 0;
    for (int i = 0; i < 3; ++i) {
        begin = std::min(line.find('[', begin), line.size() - 1) + 1;
    }
    return line.substr(begin, line.find(']', begin) - begin);
}

void FormatBody(const char* format, std::va_list arguments, BodyBuffer& body) {
    if (FormatUsual(format, arguments, kLongestBody, body)) {
        return;
    }
    body.SetSize(0);
#if defined(__clang__)
#pragma clang diagnostic push
// The exported functions have had their format and arguments checked.
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#endif
    std::va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(body.Data(), body.Capacity(), format, arguments);
    try {
        if (length >= 0 && static_cast<std::size_t>(length) >= body.Capacity()) {
            body.Reserve(std::min(static_cast<std::size_t>(length), kLongestBody) + 1);
            length = std::vsnprintf(body.Data(), body.Capacity(), format, again);
        }
    } catch (...) {
        va_end(again);
        throw;
    }
    va_end(again);
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
    if (length < 0) {
        body.Append(std::string_view(format));
    } else {
        // The second round may find an argument that another thread made longer.
        body.SetSize(std::min(static_cast<std::size_t>(length), body.Capacity() - 1));
        if (static_cast<std::size_t>(length) > kLongestBody) {
            Cut(kLongestBody, static_cast<std::size_t>(length), body);
        }
    }
}

}  // namespace core
