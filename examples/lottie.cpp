// Imports the keyframes of an animation in the Lottie format and holds the curves
// against the format's own definition.
//
// A keyframe there has a frame `t`, a value `s`, and for the segment that it starts two
// handles, `o` near its own end and `i` near the other, as fractions of the segment's
// time (x) and of its change of value (y). With "h" it holds.

#include <core/core.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

using core::JsonArray;
using core::JsonObject;
using core::Pointd;

namespace {

/// A number that may also stand alone in an array.
double NumberOf(core::JsonValue& value) {
    return value.IsArray() ? value.AsArray()[0].AsDouble() : value.AsDouble();
}

Pointd HandleOf(JsonObject& keyframe, const char* name) {
    JsonObject& handle = keyframe[name].AsObject();
    return {NumberOf(handle["x"]), NumberOf(handle["y"])};
}

core::Parameter Import(JsonArray& keyframes, double framesPerSecond) {
    core::Parameter curve;
    for (core::JsonElem& element : keyframes) {
        JsonObject& keyframe = element.AsObject();
        const bool isHeld = keyframe.Find("h") != nullptr || keyframe.Find("o") == nullptr;
        curve.AddPoint(keyframe["t"].AsDouble() / framesPerSecond, NumberOf(keyframe["s"]),
                       isHeld ? core::KeyframeInterpolationType::Hold
                              : core::KeyframeInterpolationType::Bezier);
    }
    // Handles as points of the time-value plane, then in the form of the curve.
    for (int i = 0; i + 1 < curve.GetKeyFramesCount(); ++i) {
        JsonObject& keyframe = keyframes[i].AsObject();
        if (keyframe.Find("o") == nullptr) {
            continue;
        }
        const Pointd start = {curve.GetPointTime(i), curve.GetPointValue(i).AsDouble()};
        const Pointd end = {curve.GetPointTime(i + 1), curve.GetPointValue(i + 1).AsDouble()};
        const auto inPlane = [&](Pointd part) -> Pointd {
            return {start.x + part.x * (end.x - start.x), start.y + part.y * (end.y - start.y)};
        };
        Pointd out = inPlane(HandleOf(keyframe, "o"));
        Pointd in = inPlane(HandleOf(keyframe, "i"));
        curve.TransferAbsoluteParamToRelative(i, out.x, out.y, in.x, in.y);
        curve.SetPointControlRightParam(i, out.x, out.y);
        curve.SetPointControlLeftParam(i + 1, in.x, in.y);
    }
    return curve;
}

/// The value at a frame as the format defines it: x of a cubic Bezier from (0, 0) to
/// (1, 1) is the progress in time, y the progress in value.
double Defined(JsonArray& keyframes, double frame) {
    int i = 0;
    while (i + 2 < keyframes.Count() && keyframes[i + 1].AsObject()["t"].AsDouble() <= frame) {
        ++i;
    }
    JsonObject& from = keyframes[i].AsObject();
    JsonObject& to = keyframes[i + 1].AsObject();
    const double t0 = from["t"].AsDouble();
    const double t1 = to["t"].AsDouble();
    const double s0 = NumberOf(from["s"]);
    const double s1 = NumberOf(to["s"]);
    if (frame <= t0 || frame >= t1 || from.Find("h") != nullptr) {
        return frame >= t1 ? s1 : s0;
    }
    const Pointd o = HandleOf(from, "o");
    const Pointd in = HandleOf(from, "i");
    const auto bezier = [](double a, double b, double u) {
        return 3 * (1 - u) * (1 - u) * u * a + 3 * (1 - u) * u * u * b + u * u * u;
    };
    double low = 0;
    double high = 1;
    for (int round = 0; round < 60; ++round) {
        const double middle = (low + high) / 2;
        (bezier(o.x, in.x, middle) < (frame - t0) / (t1 - t0) ? low : high) = middle;
    }
    return s0 + (s1 - s0) * bezier(o.y, in.y, low);
}

void Show(const char* name, JsonArray& keyframes, double framesPerSecond) {
    core::Parameter curve = Import(keyframes, framesPerSecond);
    std::printf("%s: %d keyframes\n", name, curve.GetKeyFramesCount());
    double largest = 0;
    for (int frame = 0; frame <= 90; ++frame) {
        const double value = curve.GetValue(frame / framesPerSecond, false).AsDouble();
        largest = std::max(largest, std::fabs(value - Defined(keyframes, frame)));
        if (frame % 6 == 0) {
            std::printf("%5d  %8.2f\n", frame, value);
        }
    }
    // Time is solved for to 5e-05 seconds, while values change by some 1000 a second.
    std::printf("as the format defines it: %s\n", largest < 0.05 ? "yes" : "no");
}

}  // namespace

int main() {
    core::JsonDoc document;
    if (document.ParseFile(EXAMPLE_DATA "/ball.lottie.json") < 0) {
        std::fprintf(stderr, "the animation cannot be read\n");
        return 1;
    }
    JsonObject& animation = document.Root().AsObject();
    const double framesPerSecond = animation["fr"].AsDouble();
    JsonObject& transform = animation["layers"].AsArray()[0].AsObject()["ks"].AsObject();
    Show("opacity", transform["o"].AsObject()["k"].AsArray(), framesPerSecond);
    Show("height", transform["p"].AsObject()["y"].AsObject()["k"].AsArray(), framesPerSecond);
    return 0;
}
