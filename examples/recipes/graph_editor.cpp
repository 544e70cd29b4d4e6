// A graph editor's day: a keyframe on the curve, a drag without overshoot, a recording with
// fewer keyframes, and a loop.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter height;
    height.AddPoint(0.0, 0.0, Interpolation::Bezier);
    height.AddPoint(1.0, 2.0, Interpolation::Bezier);
    height.AddPoint(3.0, 0.0, Interpolation::Bezier);

    // Split: the curve stays what it is.
    const double there = height.GetValue(0.4, false).AsDouble();
    const core::KeyframeInsertion cut = core::InsertKeyframe(height, 0.4);
    std::printf("keyframe %d at %.3f, as before: %.3f\n", cut.index,
                height.GetPointValue(cut.index).AsDouble(), there);

    // Drag keyframe 2: each step starts from the curve as it was, and nothing goes beyond it.
    const core::CurveSnapshot before = height.Snapshot();
    for (const double dragged : {2.2, 2.6, 3.0}) {
        height.Edit([&](core::Parameter& draft) {
            draft.Restore(before);
            draft.SetPointValue(2, dragged);
            core::PreventOvershoot(draft, draft.GetPointTime(1), draft.GetPointTime(3));
        });
    }
    std::printf("highest: %.3f\n", core::FindExtremes(height.Snapshot(), 0.0, 3.0).greatest);

    // Reduce: what a recording has for each frame, a few keyframes say.
    core::Parameter recorded;
    core::BakeCurve(height.Snapshot(), core::TimeBase::Seconds(), core::TimeBase::Frames(60), 0.0,
                    3.0, recorded);
    std::printf("recorded: %d keyframes\n", recorded.GetKeyFramesCount());
    if (const core::CurveEditResult done = core::ReduceKeyframes(recorded, 0.0, 3.0, 0.01); !done) {
        std::printf("not reduced: %s\n", done.reason.c_str());
    }
    std::printf("reduced to less than ten: %s\n", recorded.GetKeyFramesCount() < 10 ? "yes" : "no");

    // Loop: nothing of it is stored with the curve.
    core::OutsideRules rules;
    rules.after = core::OutsideRule::Loop;
    const core::ExtendedCurve loop(recorded.Snapshot(), rules);
    for (const double time : {1.0, 4.0, 301.0}) {
        std::printf("at %.0f s: %.1f\n", time, loop.GetValue(time, false).AsDouble());
    }
}
