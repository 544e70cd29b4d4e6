#include "core/logging/file_prefix.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <locale>

namespace core {
namespace {

constexpr char kReplacement = '_';
constexpr std::string_view kExtension = ".log";

bool IsForbidden(char c) noexcept {
    constexpr std::string_view kForbidden = "/\\:*?\"<>|\x7f";
    return static_cast<unsigned char>(c) < 0x20 || kForbidden.find(c) != std::string_view::npos;
}

/// Whether a system takes every name that begins with `stem` and a dot for a device.
bool IsDevice(std::string stem) {
    stem.erase(stem.find_last_not_of(' ') + 1);
    std::transform(stem.begin(), stem.end(), stem.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul") {
        return true;
    }
    const std::string_view kind = std::string_view(stem).substr(0, 3);
    return stem.size() == 4 && (kind == "com" || kind == "lpt") && stem[3] >= '1' && stem[3] <= '9';
}

std::string NamePart(std::string_view prefix) {
    std::string text(prefix);
    std::replace_if(text.begin(), text.end(), IsForbidden, kReplacement);
    if (const std::size_t dot = text.find('.');
        dot != std::string::npos && IsDevice(text.substr(0, dot))) {
        text[dot] = kReplacement;
    }
    return text;
}

bool IsPlain(std::string_view prefix) noexcept {
    return prefix.find_first_of("^$\\.*+?()[]{}|") == std::string_view::npos;
}

/// Whether matching stays linear in the name only with a factor that nobody wants to
/// wait for: copies of copies by counts, or expressions that look ahead.
bool IsTooHard(std::string_view prefix) noexcept {
    constexpr std::uint64_t kMostCopies = 1000;
    constexpr std::size_t kLongestName = 255;
    if (prefix.size() > kLongestName || prefix.find("(?=") != std::string_view::npos ||
        prefix.find("(?!") != std::string_view::npos) {
        return true;
    }
    std::uint64_t copies = 1;
    for (std::size_t at = prefix.find('{'); at != std::string_view::npos;
         at = prefix.find('{', at + 1)) {
        // "{3}", "{3,}" or "{3,5}": the largest number counts.
        std::uint64_t most = 1;
        const char* place = prefix.data() + at;
        const char* const end = prefix.data() + prefix.size();
        do {
            std::uint64_t number = 0;
            const auto [behind, error] = std::from_chars(place + 1, end, number);
            most =
                error == std::errc::result_out_of_range ? kMostCopies + 1 : std::max(most, number);
            place = behind;
        } while (place != end && *place == ',');
        copies *= std::min(most, kMostCopies + 1);
        if (copies > kMostCopies) {
            return true;
        }
    }
    return false;
}

std::regex Compile(std::string_view prefix) {
    auto syntax = std::regex_constants::ECMAScript;
#if defined(__GLIBCXX__)
    // Never tries a name again from an earlier place; refuses what would need that.
    // Other standard libraries stop by themselves when matching takes too long.
    syntax |= std::regex_constants::__polynomial;
#endif
    std::regex expression;
    // Of its own: the shared one keeps notes while it is used, without a lock.
    expression.imbue(std::locale(std::locale::classic(), new std::ctype<char>));
    // Kept on purpose: the prefix goes in as it stands; hosts name modules so that one
    // finds the files of several.
    expression.assign("^(" + std::string(prefix) + "_)([\\w\\W]+)(\\.log)$", syntax);
    return expression;
}

}  // namespace

FilePrefix::FilePrefix(std::string_view prefix) : text(NamePart(prefix)) {
    if (IsPlain(prefix)) {
        return;
    }
    const char* fault = nullptr;
    try {
        if (IsTooHard(prefix)) {
            fault = "is too hard an expression";
        } else {
            expression = Compile(prefix);
        }
    } catch (const std::regex_error& error) {
        fault = error.code() == std::regex_constants::error_complexity ||
                        error.code() == std::regex_constants::error_space
                    ? "is too hard an expression"
                    : "is no regular expression";
    }
    if (fault != nullptr) {
        notice = "log prefix \"" + std::string(prefix) + "\" " + fault + ": its old files are kept";
    }
}

bool FilePrefix::IsText(std::string_view name) const noexcept {
    return name.size() > text.size() + 1 + kExtension.size() &&
           name.substr(0, text.size()) == text && name[text.size()] == '_' &&
           name.substr(name.size() - kExtension.size()) == kExtension;
}

bool FilePrefix::Owns(const std::string& name) const {
    if (!notice.empty()) {
        return false;
    }
    return IsText(name) || (expression && std::regex_match(name, *expression));
}

}  // namespace core
