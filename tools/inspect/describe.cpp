#include "inspect/describe.h"

#include <array>
#include <charconv>
#include <cmath>

namespace inspect {

std::string NumberText(double value) {
    std::array<char, 64> buffer;
    const double shown = value == 0.0 ? 0.0 : value;  // never "-0"
    const double size = std::fabs(shown);
    // Written out as long as that is easier to read.
    const bool isWrittenOut = size == 0.0 || (size >= 1e-6 && size < 1e15);
    const auto end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), shown,
                      isWrittenOut ? std::chars_format::fixed : std::chars_format::scientific);
    return {buffer.data(), end.ptr};
}

std::string TimeText(double time) {
    return NumberText(time) + (time >= core::kFirstTickCount ? " ticks" : " s");
}

std::string ValueText(const core::ValAny& value) {
    switch (value.Kind()) {
        case core::ValAny::kNone:
            return "none";
        case core::ValAny::kBool:
            return value.AsBool() ? "true" : "false";
        case core::ValAny::kString:
            return QuotedText(value.AsString());
        case core::ValAny::kPoint: {
            const core::Pointd point = value.AsPoint();
            return "(" + NumberText(point.x) + ", " + NumberText(point.y) + ")";
        }
        default:
            return NumberText(value.AsDouble());
    }
}

std::string QuotedText(const std::string& text) {
    core::JsonValue value;
    value.Set(text);
    std::string quoted;
    value.Dump(quoted);
    return quoted;
}

std::string CountText(std::size_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace inspect
