#include <core/logging/log_macros.h>

#include "core/data/number_writer.h"
#include "core/logging/zyl_log_wrapper_manager.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace core {
namespace {

/// `%` and a SPEC of braces, as printf takes it: at most "%0" and 19 more characters.
struct Spec {
    char text[24] = "%";
    std::size_t size = 1;

    void Append(char c) noexcept {
        if (size + 4 < sizeof text) {
            text[size++] = c;
            text[size] = '\0';
        }
    }
};

#if defined(__clang__)
#pragma clang diagnostic push
// The format is made here, for the value.
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#endif
int Print(char* to, std::size_t room, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(to, room, format, arguments);
    va_end(arguments);
    return length;
}
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

template <class Value>
void AppendPrinted(const char* format, Value value, std::string& line) {
    char room[512];
    const int length = Print(room, sizeof room, format, value);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof room) {
        line.append(room, static_cast<std::size_t>(length));
    } else if (length > 0) {
        std::string longer(static_cast<std::size_t>(length) + 1, '\0');
        Print(longer.data(), longer.size(), format, value);
        line.append(longer, 0, static_cast<std::size_t>(length));
    }
}

void AppendPlain(const LogValue& value, std::string& line) {
    char digits[kNumberRoom];
    switch (value.Type()) {
        case LogValue::Kind::Signed:
            line.append(digits, WriteNumber(value.Integer(), digits));
            break;
        case LogValue::Kind::Unsigned:
            line.append(digits, WriteNumber(value.Natural(), digits));
            break;
        case LogValue::Kind::Real:
            if (std::isfinite(value.Real())) {
                line.append(digits, WriteShortest(value.Real(), digits));
            } else {
                line.append(digits, WriteNumber(value.Real(), digits));
            }
            break;
        case LogValue::Kind::Bool:
            line += value.Natural() != 0 ? "true" : "false";
            break;
        case LogValue::Kind::Character:
            line += static_cast<char>(value.Natural());
            break;
        case LogValue::Kind::Text:
            line += value.Text();
            break;
        case LogValue::Kind::Pointer:
            AppendPrinted("%p", value.Pointer(), line);
            break;
    }
}

void AppendWithSpec(Spec spec, char letter, const LogValue& value, std::string& line) {
    switch (value.Type()) {
        case LogValue::Kind::Signed:
        case LogValue::Kind::Unsigned:
            spec.Append('l');
            spec.Append('l');
            spec.Append(letter != '\0' && letter != 'd'          ? letter
                        : value.Type() == LogValue::Kind::Signed ? 'd'
                                                                 : 'u');
            AppendPrinted(spec.text, static_cast<unsigned long long>(value.Natural()), line);
            break;
        case LogValue::Kind::Real:
            spec.Append(letter != '\0' ? letter : 'g');
            AppendPrinted(spec.text, value.Real(), line);
            break;
        case LogValue::Kind::Pointer:
            spec.Append('p');
            AppendPrinted(spec.text, value.Pointer(), line);
            break;
        default: {
            std::string text;
            AppendPlain(value, text);
            spec.Append('s');
            AppendPrinted(spec.text, text.c_str(), line);
            break;
        }
    }
}

/// Appends what `format` makes of the values; false where they do not fit.
bool Fill(const char* format, const LogValue* values, std::size_t count, std::string& line) {
    std::size_t next = 0;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at == '}') {
            if (*++at != '}') {
                return false;
            }
            line += '}';
        } else if (*at != '{' || *++at == '{') {
            line += *at;
        } else if (next == count || (*at != '}' && *at != ':')) {
            return false;
        } else if (*at == '}') {
            AppendPlain(values[next++], line);
        } else {
            Spec spec;
            for (++at; (*at >= '0' && *at <= '9') || *at == '.'; ++at) {
                spec.Append(*at);
            }
            char letter = '\0';
            if (*at != '\0' && *at != '}') {
                letter = *at++;
            }
            if (*at != '}' || (letter != '\0' && std::string_view("dxXofegscp").find(letter) ==
                                                     std::string_view::npos)) {
                return false;
            }
            AppendWithSpec(spec, letter, values[next++], line);
        }
    }
    return next == count;
}

}  // namespace

namespace detail {

const std::atomic<int>* FindLogGate(const char* module) noexcept {
    const ZylLogWrapper* const found =
        ZylLogWrapperManager::Get().Find(module != nullptr ? module : "");
    return found != nullptr ? &found->gate : nullptr;
}

}  // namespace detail

void PrintLogText(const char* module, int level, const char* tag, const char* file,
                  const char* function, int line, const char* format, const LogValue* values,
                  std::size_t count) noexcept {
    try {
        std::string text;
        if (format == nullptr || !Fill(format, values, count, text)) {
            text = format != nullptr ? format : "";
        }
        CoreLogPrintLog(module, level, tag, file, function, line, "%s", text.c_str());
    } catch (const std::bad_alloc&) {
        // Like any line without memory: it is not written.
    }
}

}  // namespace core
