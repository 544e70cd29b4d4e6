#include <core/core.h>

#include <cmath>
#include <cstdio>

int main() {
    core::Parameter opacity;
    opacity.AddPoint(0.0, 0.0, core::KeyframeInterpolationType::Linear);
    opacity.AddPoint(2.0, 1.0, core::KeyframeInterpolationType::Linear);
    const double half = opacity.GetValue(1.0, false).AsDouble();
    std::printf("core %s: %g\n", CORE_VERSION_STRING, half);
    return std::fabs(half - 0.5) < 1e-12 ? 0 : 1;
}
