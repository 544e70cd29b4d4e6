// One parameter of each kind, and what it answers half-way between two keyframes.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter opacity;                          // numbers
    core::Parameter zoom(1.0);                        // numbers
    core::Parameter lives(3);                         // integers; so would be Parameter(0)
    core::Parameter visible(true);                    // booleans
    core::Parameter caption(std::string("Act 1"));    // texts
    core::Parameter place(core::Pointd{0.25, 0.75});  // points

    opacity.AddPoint(0.0, 0.0, Interpolation::Linear);
    opacity.AddPoint(2.0, 0.5, Interpolation::Hold);
    zoom.AddPoint(0.0, 1.0, Interpolation::EaseInCubic);
    zoom.AddPoint(2.0, 2.0, Interpolation::Hold);
    lives.AddPoint(0.0, 3, Interpolation::Linear);
    lives.AddPoint(2.0, 0, Interpolation::Hold);
    visible.AddPoint(0.0, true, Interpolation::Hold);
    visible.AddPoint(2.0, false, Interpolation::Hold);
    caption.AddPoint(0.0, std::string("Act 1"), Interpolation::Hold);
    caption.AddPoint(2.0, std::string("Act 2"), Interpolation::Hold);
    place.AddPoint(0.0, core::Pointd{0.0, 0.0}, Interpolation::Linear);
    place.AddPoint(2.0, core::Pointd{1.0, 0.5}, Interpolation::Linear);

    std::printf("opacity %.2f\n", opacity.GetValue(1.0, false).AsDouble());
    std::printf("zoom    %.2f\n", zoom.GetValue(1.0, false).AsDouble());
    std::printf("lives   %d\n", lives.GetValue(1.0, false).AsInt());
    std::printf("visible %s\n", visible.GetValue(1.0, false).AsBool() ? "yes" : "no");
    std::printf("caption %s\n", caption.GetValue(1.0, false).AsString().c_str());
    const core::Pointd at = place.GetValue(1.0, false).AsPoint();
    std::printf("place   %.2f %.2f\n", at.x, at.y);
}
