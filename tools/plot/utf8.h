#pragma once

#include <string_view>

namespace plot {

/// Whether a line is well-formed UTF-8 without control characters but the tab:
/// what can go into a picture as it is.
bool IsUtf8Text(std::string_view line);

/// The number of characters of a well-formed text.
int CharacterCount(std::string_view text);

}  // namespace plot
