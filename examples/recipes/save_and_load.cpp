// Saves a curve as text, loads it again, and tells whether two curves are the same.

#include <core/core.h>

#include <cstdio>
#include <string>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter curve;
    curve.AddPoint(0.0, 0.25, Interpolation::EaseOutCubic);
    curve.AddPoint(1.5, 1.0, Interpolation::Hold);
    const std::string text = curve.Serialize();
    std::printf("%s\n", text.c_str());

    core::Parameter loaded;
    if (loaded.Desialize(text.c_str()) != 0) {
        return 1;
    }
    const std::string before = curve.GetHashString();
    std::printf("same: %s\n", before == loaded.GetHashString() ? "yes" : "no");

    // A text that can't be read changes nothing.
    std::printf("broken: %d\n", loaded.Desialize(text.substr(0, 40).c_str()));
    std::printf("keyframes: %d\n", loaded.GetKeyFramesCount());
}
