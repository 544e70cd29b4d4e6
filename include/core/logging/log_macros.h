#pragma once

/// The log in C++ code: macros that name their place in the source.
///
///     CORE_LOG("render", CORE_LOG_INFO, "frame", "%d of %d drawn", drawn, all);
///     CORE_LOG_TEXT("render", CORE_LOG_INFO, "frame", "{} of {} in {:.1f} ms", drawn, all, ms);
///     CORE_LOG_ONCE("render", CORE_LOG_WARN, "gpu", "no such profile: %s", name);
///     CORE_LOG_EVERY(100, "render", CORE_LOG_WARN, "gpu", "late by %d ms", late);
///     CORE_LOG_AT_MOST(5, "render", CORE_LOG_WARN, "gpu", "late by %d ms", late);
///
/// Module and level are as in `CoreLogPrintLog`; a call site has one module, which is looked
/// up once. Nothing else is evaluated while a line is suppressed, and levels below
/// CORE_LOG_LEAST_LEVEL are not compiled at all. The compiler holds the values against the
/// format: that of printf, or, with CORE_LOG_TEXT and C++20, braces.
///
/// Safe from any thread, and throws nothing.

#include <core/export.h>
#include <core/logging/log.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

/// @def CORE_LOG_LEAST_LEVEL
/// Lines of lower levels are left out when the program is compiled; all are compiled unless
/// this is defined before.
#ifndef CORE_LOG_LEAST_LEVEL
#define CORE_LOG_LEAST_LEVEL (-2147483647 - 1)
#endif

namespace core {

namespace detail {
/// Where the least level of a module stands, for the life of the process; null while there is
/// no such module.
CORE_API const std::atomic<int>* FindLogGate(const char* module) noexcept;
/// For call sites that have not looked yet: lets everything pass.
inline constexpr int kLetsAllPass = -2147483647 - 1;
inline const std::atomic<int> kUnknownLogGate{kLetsAllPass};
}  // namespace detail

/// What a call site remembers of its module: static, for the macros.
class LogSite {
public:
    /// False where a line of this level is suppressed; true where `Passes` has to be asked.
    bool MayPass(int level) const noexcept {
        return level >= gate.load(std::memory_order_relaxed)->load(std::memory_order_relaxed);
    }
    /// False where a line of this level is suppressed; true where it may not be.
    bool Passes(const char* module, int level) noexcept {
        if (gate.load(std::memory_order_relaxed) == &detail::kUnknownLogGate) {
            if (const std::atomic<int>* const found = detail::FindLogGate(module)) {
                gate.store(found, std::memory_order_relaxed);
            }
        }
        return MayPass(level);
    }

private:
    std::atomic<const std::atomic<int>*> gate{&detail::kUnknownLogGate};
};

/// How often a call site has logged: static, for the macros. Each question answers whether to
/// log now, and then `suppressed` is how often it was not since the last time.
class LogLimit {
public:
    /// The first time.
    bool Once() noexcept { return !isDone.exchange(true, std::memory_order_relaxed); }
    /// The first time and every `n` times from there.
    bool Every(std::uint64_t n, std::uint64_t& suppressed) noexcept {
        const std::uint64_t number = count.fetch_add(1, std::memory_order_relaxed);
        suppressed = number == 0 ? 0 : n - 1;
        return n <= 1 || number % n == 0;
    }
    /// At most `n` times in a second.
    bool AtMost(std::uint64_t n, std::uint64_t& suppressed) noexcept {
        const std::int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count();
        constexpr std::int64_t kSecond = 1000000000;
        std::int64_t begin = second.load(std::memory_order_relaxed);
        if (now - begin >= kSecond &&
            second.compare_exchange_strong(begin, now, std::memory_order_relaxed)) {
            count.store(0, std::memory_order_relaxed);
        }
        if (count.fetch_add(1, std::memory_order_relaxed) >= n) {
            missed.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        suppressed = missed.exchange(0, std::memory_order_relaxed);
        return true;
    }

private:
    std::atomic<bool> isDone{false};
    std::atomic<std::uint64_t> count{0};
    std::atomic<std::uint64_t> missed{0};
    std::atomic<std::int64_t> second{-1000000000};
};

}  // namespace core

/// @def CORE_LOG_IF_ON(module, level, statement)
/// Runs a statement unless lines of this module and level are suppressed; for the others.
#define CORE_LOG_IF_ON(module, level, statement)                                       \
    do {                                                                               \
        if ((level) >= CORE_LOG_LEAST_LEVEL) {                                         \
            static ::core::LogSite coreLogSite;                                        \
            if (coreLogSite.MayPass(level) && coreLogSite.Passes((module), (level))) { \
                statement;                                                             \
            }                                                                          \
        }                                                                              \
    } while (false)

/// @def CORE_LOG(module, level, tag, ...)
/// A line with its place in the source. The rest is a format of printf and its values.
#define CORE_LOG(module, level, tag, ...) \
    CORE_LOG_IF_ON(                       \
        module, level,                    \
        CoreLogPrintLog((module), (level), (tag), __FILE__, __func__, __LINE__, __VA_ARGS__))

/// @def CORE_LOG_SUPPRESSED(module, level, tag, suppressed)
/// Tells how many lines of a call site were left out, if any; for the macros below.
#define CORE_LOG_SUPPRESSED(module, level, tag, suppressed)                     \
    if ((suppressed) > 0) {                                                     \
        CoreLogPrintLog((module), (level), (tag), __FILE__, __func__, __LINE__, \
                        "%llu such lines suppressed",                           \
                        static_cast<unsigned long long>(suppressed));           \
    }

/// @def CORE_LOG_ONCE(module, level, tag, ...)
/// The same, the first time that it is not suppressed.
#define CORE_LOG_ONCE(module, level, tag, ...)                                                    \
    CORE_LOG_IF_ON(module, level, {                                                               \
        static ::core::LogLimit coreLogLimit;                                                     \
        if (coreLogLimit.Once()) {                                                                \
            CoreLogPrintLog((module), (level), (tag), __FILE__, __func__, __LINE__, __VA_ARGS__); \
        }                                                                                         \
    })

/// @def CORE_LOG_EVERY(n, module, level, tag, ...)
/// The same, the first time and every `n` times from there; from the second line on, a line
/// behind it says how many were left out.
#define CORE_LOG_EVERY(n, module, level, tag, ...)                                                \
    CORE_LOG_IF_ON(module, level, {                                                               \
        static ::core::LogLimit coreLogLimit;                                                     \
        std::uint64_t coreLogMissed = 0;                                                          \
        if (coreLogLimit.Every((n), coreLogMissed)) {                                             \
            CoreLogPrintLog((module), (level), (tag), __FILE__, __func__, __LINE__, __VA_ARGS__); \
            CORE_LOG_SUPPRESSED(module, level, tag, coreLogMissed)                                \
        }                                                                                         \
    })

/// @def CORE_LOG_AT_MOST(n, module, level, tag, ...)
/// The same, at most `n` times in a second; a line behind the next one says how many were left
/// out.
#define CORE_LOG_AT_MOST(n, module, level, tag, ...)                                              \
    CORE_LOG_IF_ON(module, level, {                                                               \
        static ::core::LogLimit coreLogLimit;                                                     \
        std::uint64_t coreLogMissed = 0;                                                          \
        if (coreLogLimit.AtMost((n), coreLogMissed)) {                                            \
            CoreLogPrintLog((module), (level), (tag), __FILE__, __func__, __LINE__, __VA_ARGS__); \
            CORE_LOG_SUPPRESSED(module, level, tag, coreLogMissed)                                \
        }                                                                                         \
    })

namespace core {

/// A value for the braces of CORE_LOG_TEXT: a number, a bool, a character, a text or a pointer.
/// Texts are only pointed to.
class LogValue {
public:
    /// What it is.
    enum class Kind : std::uint8_t { Signed, Unsigned, Real, Bool, Character, Text, Pointer };

    /// A text; null is "(null)".
    LogValue(const char* text) noexcept
        : LogValue(std::string_view(text != nullptr ? text : "(null)")) {}
    /// A text.
    LogValue(const std::string& text) noexcept : LogValue(std::string_view(text)) {}
    /// A text.
    LogValue(std::string_view text) noexcept : kind(Kind::Text), size(text.size()) {
        value.text = text.data();
    }
    /// An address.
    LogValue(const void* pointer) noexcept : kind(Kind::Pointer) { value.pointer = pointer; }
    /// A number, a bool or a character.
    template <class T, std::enable_if_t<std::is_arithmetic<T>::value, int> = 0>
    LogValue(T number) noexcept : kind(KindOf<T>()) {
        if constexpr (std::is_floating_point<T>::value) {
            value.real = static_cast<double>(number);
        } else if constexpr (std::is_signed<T>::value && !std::is_same<T, char>::value) {
            value.integer = number;
        } else {
            value.natural = static_cast<std::uint64_t>(number);
        }
    }

    /// The kind of a value of this type.
    template <class T>
    static constexpr Kind KindOf() noexcept {
        using Plain = std::decay_t<T>;
        if constexpr (std::is_same<Plain, bool>::value) {
            return Kind::Bool;
        } else if constexpr (std::is_same<Plain, char>::value) {
            return Kind::Character;
        } else if constexpr (std::is_floating_point<Plain>::value) {
            return Kind::Real;
        } else if constexpr (std::is_integral<Plain>::value) {
            return std::is_signed<Plain>::value ? Kind::Signed : Kind::Unsigned;
        } else if constexpr (std::is_convertible<Plain, std::string_view>::value) {
            return Kind::Text;
        } else {
            static_assert(std::is_pointer<Plain>::value || std::is_null_pointer<Plain>::value,
                          "braces take numbers, texts and pointers");
            return Kind::Pointer;
        }
    }

    /// What it is.
    Kind Type() const noexcept { return kind; }
    /// The value of one of that kind; of any other, undefined.
    std::int64_t Integer() const noexcept { return value.integer; }
    /// Likewise, of unsigned numbers, bools and characters.
    std::uint64_t Natural() const noexcept { return value.natural; }
    /// Likewise.
    double Real() const noexcept { return value.real; }
    /// Likewise.
    const void* Pointer() const noexcept { return value.pointer; }
    /// Likewise.
    std::string_view Text() const noexcept { return {value.text, size}; }

private:
    Kind kind;
    std::size_t size = 0;
    union {
        std::int64_t integer;
        std::uint64_t natural;
        double real;
        const char* text;
        const void* pointer;
    } value;
};

/// Writes a line whose format has braces: `{}` for the next value, `{:SPEC}` with a SPEC of
/// an optional 0, a width, a precision and one of d x X o f e g s c p, as printf has them;
/// `{{` and `}}` for braces. Reals without a SPEC have the shortest text that is read as the
/// same number. A format that does not fit its values is written as it is. For
/// CORE_LOG_TEXT, which has the compiler check it.
CORE_API void PrintLogText(const char* module, int level, const char* tag, const char* file,
                           const char* function, int line, const char* format,
                           const LogValue* values, std::size_t count) noexcept;

}  // namespace core

#if defined(__cpp_consteval)
namespace core {

/// A format with braces that has been held against the types of its values.
template <class... Values>
class LogFormat {
public:
    /// Compiles where the format and the values fit.
    consteval LogFormat(const char* format) : text(format) {
        // One more, for there may be none.
        const LogValue::Kind kinds[] = {LogValue::KindOf<Values>()..., LogValue::Kind::Text};
        std::size_t next = 0;
        for (const char* at = format; *at != '\0'; ++at) {
            if (*at == '}') {
                if (*++at != '}') {
                    throw "a closing brace is written as }}";
                }
            } else if (*at == '{' && *++at != '{') {
                if (next == sizeof...(Values)) {
                    throw "more braces than values";
                }
                at = Spec(at, kinds[next++]);
            }
        }
        if (next != sizeof...(Values)) {
            throw "more values than braces";
        }
    }
    const char* Text() const noexcept { return text; }

private:
    static consteval const char* Spec(const char* at, LogValue::Kind kind) {
        if (*at == ':') {
            ++at;
            while ((*at >= '0' && *at <= '9') || *at == '.') {
                ++at;
            }
            const bool isInteger =
                kind == LogValue::Kind::Signed || kind == LogValue::Kind::Unsigned;
            const char* const letters = isInteger                           ? "dxXo"
                                        : kind == LogValue::Kind::Real      ? "feg"
                                        : kind == LogValue::Kind::Character ? "c"
                                        : kind == LogValue::Kind::Pointer   ? "p"
                                                                            : "s";
            if (*at != '}') {
                const char* letter = letters;
                while (*letter != '\0' && *letter != *at) {
                    ++letter;
                }
                if (*letter == '\0') {
                    throw "the letter does not fit the value";
                }
                ++at;
            }
        }
        if (*at != '}') {
            throw "a brace is not closed";
        }
        return at;
    }

    const char* text;
};

namespace detail {
template <class... Values>
void PrintLogText(const char* module, int level, const char* tag, const char* file,
                  const char* function, int line, LogFormat<std::type_identity_t<Values>...> format,
                  const Values&... values) noexcept {
    const LogValue list[] = {LogValue(values)..., LogValue(0)};
    core::PrintLogText(module, level, tag, file, function, line, format.Text(), list,
                       sizeof...(Values));
}
}  // namespace detail

}  // namespace core

/// @def CORE_LOG_TEXT(module, level, tag, ...)
/// A line with its place in the source. The rest is a format with braces, see
/// `PrintLogText`, and its values.
#define CORE_LOG_TEXT(module, level, tag, ...)                                                \
    CORE_LOG_IF_ON(module, level,                                                             \
                   ::core::detail::PrintLogText((module), (level), (tag), __FILE__, __func__, \
                                                __LINE__, __VA_ARGS__))
#endif
