#pragma once

#include "core/logging/text_buffer.h"

#include <cstdarg>
#include <cstddef>

namespace core {

/// Appends what printf makes of `format`, byte by byte, where all conversions in it are usual
/// ones: `%%`, and d i u x X c s f with the flags `-0+ `, width, precision and the lengths
/// hh h l ll z j t. False, with anything in `body`, for others, and for what only the C
/// library knows how to write (null texts, what is not finite or beyond 2^63, a decimal point
/// that is none, results of more than `longest` bytes).
bool FormatUsual(const char* format, std::va_list arguments, std::size_t longest,
                 TextBuffer<1024>& body);

}  // namespace core
