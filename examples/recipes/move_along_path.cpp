// Moves a picture along a path in the plane, and looks at its x and y as two curves.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter position(core::Pointd{0.0, 0.0});
    position.AddPointEx(0.0, core::Pointd{0.0, 0.0}, Interpolation::Bezier);
    position.AddPointEx(2.0, core::Pointd{600.0, 300.0}, Interpolation::Bezier);
    // The handles are places in the plane: go right first, then up.
    position.SetPointControlRightParam(0, 400.0, 0.0);
    position.SetPointControlLeftParam(1, 600.0, 100.0);

    core::Parameter x;
    core::Parameter y;
    position.SplitIntoTwoMotionDimension(x, y);
    for (const double time : {0.0, 0.5, 1.0, 1.5, 2.0}) {
        const core::Pointd place = position.GetValue(time, false).AsPoint();
        std::printf("%.1f s  (%.2f, %.2f)  x %.2f, y %.2f\n", time, place.x, place.y,
                    x.GetValue(time, false).AsDouble(), y.GetValue(time, false).AsDouble());
    }
}
