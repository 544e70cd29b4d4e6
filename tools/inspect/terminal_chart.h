#pragma once

#include "plot/curve_view.h"

#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// How much room a chart has, in characters, and which times it shows; all without them.
struct TerminalStyle {
    int columns = 78;
    int rows = 16;  // of each chart
    std::optional<double> from;
    std::optional<double> to;
};

/// Curves as text for a terminal, a chart for each number of a curve, in dots of Braille
/// letters: two by four in each character. Keyframes are marked below, freezes by "=".
std::string DrawOnTerminal(const std::vector<plot::CurveView>& curves, const TerminalStyle& style);

}  // namespace inspect
