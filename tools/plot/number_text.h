#pragma once

#include <string>
#include <string_view>

namespace plot {

/// `value` with exactly `decimals` digits after the point; never "-0".
///
/// The decimal point is a point whatever the process's locale is.
std::string FixedText(double value, int decimals);

/// As `FixedText`, without zeros at the end: "2.5", "3".
std::string ShortText(double value, int maxDecimals);

/// As "-1.50e+07", with exactly `decimals` digits after the point.
std::string ScientificText(double value, int decimals);

/// What became of a text that should be a number.
enum class NumberState { Good, NotANumber, TooLarge, NotFinite };

/// Reads the whole of `text` as a finite number into `value`, which is left alone
/// unless the answer is `Good`. Independent of the locale.
NumberState ParseNumber(std::string_view text, double& value);

}  // namespace plot
