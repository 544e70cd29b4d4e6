#include "plot/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace plot {

std::string FixedText(double value, int decimals) {
    // Room for the 309 digits before the point of the largest double, a sign and
    // a point; `decimals` is a small number of ours.
    std::array<char, 400> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                   std::chars_format::fixed, decimals);
    std::string text(buffer.data(), end.ptr);
    if (text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos) {
        text.erase(0, 1);
    }
    return text;
}

std::string ShortText(double value, int maxDecimals) {
    std::string text = FixedText(value, maxDecimals);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text;
}

std::string ScientificText(double value, int decimals) {
    std::array<char, 40> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                   std::chars_format::scientific, decimals);
    return {buffer.data(), end.ptr};
}

NumberState ParseNumber(std::string_view text, double& value) {
    double number = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc::invalid_argument || stop != end) {
        return NumberState::NotANumber;
    }
    if (error != std::errc()) {
        return NumberState::TooLarge;
    }
    if (!std::isfinite(number)) {
        return NumberState::NotFinite;
    }
    value = number;
    return NumberState::Good;
}

}  // namespace plot
