// Bends one Bezier segment as an editor does: its handles are dragged as points of
// the time-value plane, and stored as fractions and slopes.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter zoom;
    zoom.AddPoint(0.0, 1.0, Interpolation::Bezier);
    zoom.AddPoint(2.0, 3.0, Interpolation::Bezier);
    std::printf("automatic: %.4f\n", zoom.GetValue(0.5, false).AsDouble());

    // Where the user dropped the two handles: (time, value) of each.
    double startX = 1.0, startY = 1.0;
    double endX = 1.2, endY = 3.0;
    zoom.TransferAbsoluteParamToRelative(0, startX, startY, endX, endY);
    std::printf("stored: %.2f %.2f and %.2f %.2f\n", startX, startY, endX, endY);
    zoom.SetPointControlRightParam(0, startX, startY);
    zoom.SetPointControlLeftParam(1, endX, endY);
    std::printf("by hand: %.4f\n", zoom.GetValue(0.5, false).AsDouble());

    // Handles set by hand stay when a neighbour moves.
    zoom.AddPoint(5.0, 2.0, Interpolation::Hold);
    std::printf("still: %.4f\n", zoom.GetValue(0.5, false).AsDouble());
}
