#pragma once

#include "plot/levers.h"

#include <core/core.h>

#include <string>

namespace inspect {

/// The shortest text that reads back as this number, whatever the locale is.
std::string NumberText(double value);

/// The time of a keyframe: "1.5 s", or "2000000 ticks" where the library counts those.
std::string TimeText(double time);

/// "1.5", "true", "(1, 2)", or a text in quotes and escaped as in JSON.
std::string ValueText(const core::ValAny& value);

/// `text` in quotes, escaped as in JSON.
std::string QuotedText(const std::string& text);

/// "1 keyframe", "2 keyframes".
std::string CountText(std::size_t count, const std::string& thing);

using plot::HasRange;

}  // namespace inspect
